#include "app/commandline.h"
#include "app/mainwindow.h"

#include <QApplication>

int main(int argc, char **argv)
{
    answerWithoutDisplay(argc, argv);
    // Nothing here draws with OpenGL, and loading it would take longer than the rest of the start.
    QApplication::setAttribute(Qt::AA_ForceRasterWidgets);
    QApplication application(argc, argv);
    MainWindow window;
    window.setWindowFlags(Qt::FramelessWindowHint);
    window.showMaximized();
    return QApplication::exec();
}
