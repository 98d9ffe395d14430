#include "common/areyousurewarning.h"
#include "tests/docs/manual.h"
#include "tests/support/instrument.h"
#include "tests/support/modaldialogs.h"
#include "tests/support/screen.h"
#include "tests/tools/exportscreen.h"
#include "tests/tools/resetrow.h"
#include "tests/versions/versionscreen.h"

#include <QFile>
#include <QMap>
#include <QRegularExpression>
#include <QtTest>

/// The manual's table of the utility scripts, against what the maintenance screens call.
class TestUtilityScripts : public QObject
{
    Q_OBJECT

private slots:
    void init();
    void tableSaysWhatTheScreensDo();
};

static const QString directory = QStringLiteral("/etc/update/utility_scripts/");
static const QString reboot = QStringLiteral("/sbin/reboot");

/// What the table says of a script, or what was seen of it.
struct Use
{
    QStringList arguments;
    QString then;

    bool operator==(const Use &other) const
    {
        return arguments == other.arguments && then == other.then;
    }
};
using Uses = QMap<QString, Use>;

static QByteArray told(const Uses &uses)
{
    QStringList lines;
    for (auto use = uses.begin(); use != uses.end(); ++use)
        lines += QStringLiteral("%1 (%2): %3")
                     .arg(use.key(), use->arguments.join(QLatin1Char(',')), use->then);
    return lines.join(QLatin1Char('\n')).toUtf8();
}

/// Takes the calls since the last time, of which there must be one script's, and how it went on.
static void see(Uses &uses, const QDialog &screen)
{
    const QStringList calls = Instrument::calls().filter(QRegularExpression(QStringLiteral("^/")));
    QFile::remove(QStringLiteral("/run/calls"));
    const QString path = calls.value(0).section(QLatin1Char(' '), 0, 0);
    QVERIFY2(path.startsWith(directory), qPrintable(calls.join(QLatin1Char('\n'))));
    QCOMPARE(calls.mid(1),
             screen.isVisible() && calls.size() > 1 ? QStringList(reboot) : QStringList());

    Use &use = uses[path.mid(directory.size())];
    use.arguments += calls.first().split(QLatin1Char(' ')).mid(1);
    use.then = calls.size() > 1 ? QStringLiteral("reboot")
        : screen.isVisible()    ? QStringLiteral("the screen stays")
                                : QStringLiteral("the screen closes");
}

static void waitForReboot(QDialog *notice)
{
    QTRY_VERIFY(Instrument::calls().contains(reboot));
    notice->close();
}

static QVector<ModalDialogs::Answer> accept(bool reboots)
{
    QVector<ModalDialogs::Answer> answers
        = {[](QDialog *warning) { touch(warning, "pButtonAccept"); }};
    if (reboots)
        answers += waitForReboot;
    return answers;
}

void TestUtilityScripts::init()
{
    Instrument::clear();
    installThreeVersions();
    for (const char *name :
         {"RemoveSingleFile.sh", "RemoveFilesUsingBackupFileList.sh",
          "RemoveDetectedDisplayFiles.sh", "ExportFiles.sh", "ChangeToPartition.sh"})
        Instrument::writeScript(directory + QString::fromLatin1(name));
    Instrument::writeScript(reboot);
}

static void seeResets(Uses &uses)
{
    for (const ResetRow &row : resetRows) {
        const ModalDialogs dialogs(accept(row.reboots));
        Opened screen(row);
        touch(screen.dialog(), row.button);
        see(uses, *screen.dialog());
    }
}

static void seeExport(Uses &uses)
{
    ExportScreen screen;
    findDevice(screen);
    screen.press();
    see(uses, *screen.dialog());
}

static void seeChanges(Uses &uses)
{
    const char *const active[] = {"8", "1", "7"};
    for (int row = 0; row < 3; ++row) {
        Instrument::write(activePartitionFile, active[row]);
        const ModalDialogs dialogs(accept(true));
        VersionScreen screen;
        touchCell(screen.table(), row, 1);
        touch(&screen.dialog, "pButtonChgVersion");
        see(uses, screen.dialog);
    }
}

static Uses table()
{
    Uses uses;
    for (const QStringList &row : Manual::table(QStringLiteral("Utility scripts")).mid(1)) {
        const QStringList arguments
            = row.at(1) == QLatin1String("none") ? QStringList() : Manual::quoted(row.at(1));
        uses.insert(Manual::quoted(row.first()).value(0), {arguments, row.at(3)});
    }
    return uses;
}

void TestUtilityScripts::tableSaysWhatTheScreensDo()
{
    Uses seen;
    seeResets(seen);
    seeExport(seen);
    seeChanges(seen);
    QCOMPARE(seen.size(), 5);
    QCOMPARE(told(table()), told(seen));
}

QTEST_MAIN(TestUtilityScripts)
#include "tst_utilityscripts.moc"
