#include "tests/logs/randomlog.h"
#include "tests/logs/twinviews.h"

#include <QtTest>

/// A thousand logs made up by dice look as the toolkit has them: the pictures of their pages, the
/// scroll range, the page step, and where every paging button leads.
class TestLogLikeness : public QObject
{
    Q_OBJECT

private slots:
    void someAt800x480() { compare({800, 480}, 60); }
    void at800x480() { compare({800, 480}); }
    void at1024x600() { compare({1024, 600}); }
    void at1280x800() { compare({1280, 800}); }
    void at800x480dense() { compare({800, 480}); }
    void at1024x600dense() { compare({1024, 600}); }
    void at1280x800dense() { compare({1280, 800}); }

private:
    static void compare(const QSize &size, quint32 logs = 1000);
};

void TestLogLikeness::compare(const QSize &size, quint32 logs)
{
    TwinViews views(size);
    for (quint32 seed = 0; seed < logs; ++seed) {
        const QByteArray log = randomLog(seed);
        const QString found = views.difference(log);
        QVERIFY2(
            found.isEmpty(),
            qPrintable(
                QStringLiteral("log %1 of %2 bytes: %3").arg(seed).arg(log.size()).arg(found)));
    }
}

// The dots per inch are the screen's: a process has one kind.
int main(int count, char **arguments)
{
    for (int i = 1; i < count; ++i) {
        if (QByteArray(arguments[i]).endsWith("dense"))
            qputenv("QT_FONT_DPI", "133");
    }
    QApplication application(count, arguments);
    TestLogLikeness test;
    return QTest::qExec(&test, count, arguments);
}
#include "tst_loglikeness.moc"
