#include "tests/support/instrument.h"

#include <QProcess>
#include <QtTest>

/// What reads the console may die; the update that it watched must not.
class TestLostConsole : public QObject
{
    Q_OBJECT

private slots:
    void updateRunsToItsReboot()
    {
        Instrument::clear();
        Instrument::writeUpdateScripts();
        Instrument::writeScript(QStringLiteral("/etc/update/11-Reboot.sh"), "kill $PPID");

        QProcess shell;
        shell.start(QStringLiteral("/bin/sh"),
                    {QStringLiteral("-c"),
                     QStringLiteral("(/opt/build/teskupdater --autoupdate; echo $? >/run/status) | "
                                    "grep -q \"Update in progress\"")});
        QVERIFY(shell.waitForFinished(15000));
        QTRY_COMPARE_WITH_TIMEOUT(Instrument::read(QStringLiteral("/run/status")),
                                  QByteArray("143\n"), 15000);
        QCOMPARE(Instrument::calls().size(), 15);
        QCOMPARE(Instrument::calls().last(), QStringLiteral("/etc/update/11-Reboot.sh"));
    }
};

QTEST_GUILESS_MAIN(TestLostConsole)
#include "tst_lostconsole.moc"
