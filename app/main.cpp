#include "app/mainwindow.h"

#include <QApplication>

int main(int argc, char **argv)
{
    QApplication application(argc, argv);
    MainWindow window;
    window.setWindowFlags(Qt::FramelessWindowHint);
    window.showMaximized();
    return QApplication::exec();
}
