#include "tests/screens/photograph.h"

#include "tests/support/screen.h"

#include <QApplication>
#include <QTimer>
#include <QtTest>

static constexpr int patience = 60000;

QImage photograph(QWidget *screen)
{
    if (!QTest::qWaitForWindowActive(screen, patience))
        qFatal("%s does not come up", screen->metaObject()->className());
    QCoreApplication::processEvents();
    return screen->grab().toImage().convertToFormat(QImage::Format_RGB32);
}

namespace {

/// Answers one question after the other, each as soon as it is there.
class User : public QObject
{
public:
    explicit User(int questions)
        : accepted(questions)
        , known(QApplication::activeModalWidget())
    {
        look();
    }

    QImage picture;

private:
    void look() { QTimer::singleShot(0, this, &User::answer); }

    void answer()
    {
        QWidget *question = QApplication::activeModalWidget();
        if (!question || question == known) {
            look();
        } else if (accepted-- > 0) {
            known = question;
            look();
            touch(question, "pButtonAccept");
        } else {
            picture = photograph(question);
            question->close();
        }
    }

    int accepted;
    QWidget *known; ///< Has its answer, or asks nothing.
};

} // namespace

QImage photographQuestion(const std::function<void()> &act, int accepted)
{
    User user(accepted);
    act();
    return user.picture;
}

StoppedClocks::StoppedClocks() { qApp->installEventFilter(this); }

bool StoppedClocks::eventFilter(QObject *object, QEvent *event)
{
    const bool ownClock = object->inherits("MainWindow") || object->inherits("ExportLogData");
    return event->type() == QEvent::Timer && ownClock && !ticking;
}

void StoppedClocks::tick(QObject *screen, int times)
{
    ticking = true;
    ::tick(screen, times);
    ticking = false;
}
