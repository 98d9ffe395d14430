#include <QApplication>
#include <QLabel>

// The smallest program with a window of widgets, to compare the updater with.
int main(int argc, char **argv)
{
    if (argc > 1) // any argument: the same without the toolkit's OpenGL
        QApplication::setAttribute(Qt::AA_ForceRasterWidgets);
    QApplication application(argc, argv);
    QWidget window;
    QLabel label(QStringLiteral("A label"), &window);
    window.setWindowFlags(Qt::FramelessWindowHint);
    window.showMaximized();
    return QApplication::exec();
}
