#include "tests/support/instrument.h"
#include "tests/support/modaldialogs.h"
#include "tests/support/screen.h"
#include "tests/tools/exportscreen.h"
#include "tests/tools/resetrow.h"

#include <QtTest>

/// Longer than the 30 seconds after which a process object gives up waiting if it is let.
static const char lastsLong[] = "sleep 32; echo done >>/run/calls";

/// A script may take as long as it takes; its screen waits, and the user with it.
class TestToolsUnlimitedWait : public QObject
{
    Q_OBJECT

private slots:
    void init() { Instrument::clear(); }

    void reset()
    {
        const ResetRow &row = resetRows[3];
        Instrument::writeScript(path(row.script), lastsLong);
        Opened screen(row);
        Events events;
        const ModalDialogs dialogs({[](QDialog *warning) { touch(warning, "pButtonAccept"); }});
        touch(screen.dialog(), row.button);
        QVERIFY(!screen.dialog()->isVisible());
        QCOMPARE(events.take(),
                 row.script
                     + QByteArray("\ndone\nCode: '0' = success,  'other' = fail\n"
                                  "Remove files code = 0\n[sync]\n"));
    }

    void exportData()
    {
        Instrument::writeScript(QStringLiteral("/etc/update/utility_scripts/ExportFiles.sh"),
                                lastsLong);
        ExportScreen screen;
        findDevice(screen);
        screen.press();
        screen.expect(exported,
                      exporting("0").replace("ExportFiles.sh\n", "ExportFiles.sh\ndone\n"));
    }
};

QTEST_MAIN(TestToolsUnlimitedWait)
#include "tst_toolsunlimitedwait.moc"
