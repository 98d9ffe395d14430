#include "common/areyousurewarning.h"
#include "tests/support/console.h"
#include "tests/support/instrument.h"
#include "tests/support/modaldialogs.h"
#include "tests/support/screen.h"
#include "tests/versions/versionscreen.h"

#include <QLabel>
#include <QPointer>
#include <QTextEdit>
#include <QtTest>

#include <fcntl.h>
#include <sys/wait.h>

static const char callsFile[] = "/run/calls";

/// Takes the place of the C library's own function: what is flushed, and when, is a line among the
/// scripts' calls and the prints.
extern "C" void sync() noexcept
{
    // A reboot that was started before would still be waiting to be collected.
    siginfo_t child = {};
    const bool alone = waitid(P_ALL, 0, &child, WEXITED | WNOHANG | WNOWAIT | __WALL) != 0;
    const QByteArray line = alone ? "sync\n" : "sync with a process running\n";
    const int file = open(callsFile, O_CREAT | O_WRONLY | O_APPEND | O_CLOEXEC, 0600);
    if (file < 0 || write(file, line.constData(), static_cast<size_t>(line.size())) != line.size())
        qFatal("the flush cannot be noted");
    close(file);
}

/// Changing to another version, from the press to the reboot.
class TestVersionChange : public QObject
{
    Q_OBJECT

private slots:
    void init();
    void warning();
    void rejected_data();
    void rejected();
    void accepted_data();
    void accepted();
    void afterAnotherPress();
    void scriptThatCannotRun_data();
    void scriptThatCannotRun();
    void scriptThatPrints();
    void warningIsReused();
    void notice();
    void noticeClosedInAnotherWay_data();
    void noticeClosedInAnotherWay();
    void rebootThatCannotStart();
    void cleanup();
};

static const QString script = QStringLiteral("/etc/update/utility_scripts/ChangeToPartition.sh");
static const QString reboot = QStringLiteral("/sbin/reboot");

static void accept(QDialog *dialog) { touch(dialog, "pButtonAccept"); }
static void reject(QDialog *dialog) { touch(dialog, "pButtonReject"); }
static void escape(QDialog *dialog) { QTest::keyClick(dialog, Qt::Key_Escape); }
static void closeWindow(QDialog *dialog) { closeByWindowManager(dialog); }
static void end(QDialog *notice) { notice->done(0); } // nobody can: a test has no reboot

static QString titleOf(QDialog *dialog)
{
    return dialog->findChild<QLabel *>(QStringLiteral("labelWarningTitle"))->text();
}

void TestVersionChange::init()
{
    Instrument::clear();
    installThreeVersions();
    Instrument::writeScript(reboot);
    Instrument::writeScript(script, "echo $# >>/run/calls");
}

/// The dialogs that nobody deletes.
void TestVersionChange::cleanup()
{
    for (QWidget *widget : QApplication::topLevelWidgets()) {
        if (qstrcmp(widget->metaObject()->className(), "AreYouSureWarning") == 0)
            delete widget;
    }
}

/// Presses row @p row and then the button, and waits for the reboot if one is to come. Returns all
/// that happened.
static QStringList change(VersionScreen &screen, int row,
                          const QVector<ModalDialogs::Answer> &answers, bool reboots = true)
{
    Console console(STDOUT_FILENO, callsFile);
    ModalDialogs dialogs(answers);
    touchCell(screen.table(), row, 1);
    touch(&screen.dialog, "pButtonChgVersion");
    if (reboots)
        [] { QTRY_VERIFY(Instrument::calls().contains(reboot)); }();
    return Instrument::calls();
}

static QStringList changed(const char *partition, const char *code = "0")
{
    return {script + QLatin1Char(' ') + QString::fromLatin1(partition), QStringLiteral("1"),
            QStringLiteral("Change version code = ") + QString::fromLatin1(code),
            QStringLiteral("sync"), reboot};
}

void TestVersionChange::warning()
{
    VersionScreen screen;
    const AreYouSureWarning expected(
        &screen.dialog,
        {QString(),
         QStringLiteral("<H1>Warning</H1><span style=\"font-size:18pt;\"><b>Continuing with this "
                        "operation may make your system unstable.</b></span><br><br>Configuration "
                        "changes made in the <b><i>CURRENT VERSION</i></b> will not be available "
                        "in the <b><i>version</i></b> selected.<br><br><br>Click the ACCEPT button "
                        "below to proceed.<br>The system will reboot to the version selected.\n")});
    const auto compare = [&](QDialog *dialog) {
        QCOMPARE(titleOf(dialog), QStringLiteral("Change Version Partition"));
        QCOMPARE(dialog->findChild<QTextEdit *>()->toHtml(),
                 expected.findChild<QTextEdit *>()->toHtml());
        QCOMPARE(dialog->size(), screen.dialog.size());
        QVERIFY(dialog->isModal() && !dialog->parent());
        reject(dialog);
    };
    change(screen, 0, {compare}, false);
}

void TestVersionChange::rejected_data()
{
    QTest::addColumn<int>("way");
    QTest::newRow("Reject") << 0;
    QTest::newRow("Escape") << 1;
    QTest::newRow("window manager") << 2;
}

void TestVersionChange::rejected()
{
    QFETCH(int, way);
    static const ModalDialogs::Answer ways[] = {reject, escape, closeWindow};
    VersionScreen screen;
    QCOMPARE(change(screen, 0, {ways[way]}, false), QStringList());
    QVERIFY(!screen.dialog.isVisible()); // the whole screen goes
}

void TestVersionChange::accepted_data()
{
    QTest::addColumn<QByteArray>("active");
    QTest::addColumn<int>("row");
    QTest::addColumn<QByteArray>("partition");
    QTest::addColumn<QByteArray>("code");
    const auto row = [](const char *active, int pressed, const char *partition, const char *code) {
        QTest::addRow("%s to %s, code %s", active, partition, code)
            << QByteArray(active) << pressed << QByteArray(partition) << QByteArray(code);
    };
    row("7", 0, "1", "0");
    row("7", 2, "8", "0");
    row("1", 1, "7", "0");
    row("none", 1, "7", "0");
    row("7", 0, "1", "3");
    row("7", 2, "8", "255");
}

void TestVersionChange::accepted()
{
    QFETCH(QByteArray, active);
    QFETCH(int, row);
    QFETCH(QByteArray, partition);
    QFETCH(QByteArray, code);
    Instrument::write(activePartitionFile, active);
    Instrument::writeScript(script, "echo $# >>/run/calls; exit " + code);
    VersionScreen screen;
    QCOMPARE(change(screen, row, {accept, end}), changed(partition.constData(), code.constData()));
    QVERIFY(screen.dialog.isVisible());
}

// A press on an empty cell of another row reports nothing: the row pressed before is the one.
void TestVersionChange::afterAnotherPress()
{
    removeManifest("8");
    for (int column : {2, 3, 4}) {
        QFile::remove(QString::fromLatin1(callsFile));
        VersionScreen screen;
        Console console(STDOUT_FILENO, callsFile);
        ModalDialogs dialogs({accept, end});
        touchCell(screen.table(), 0, 0);
        touchCell(screen.table(), 2, column);
        touch(&screen.dialog, "pButtonChgVersion");
        QTRY_COMPARE(Instrument::calls(), changed("1"));
    }
}

void TestVersionChange::scriptThatCannotRun_data()
{
    QTest::addColumn<QByteArray>("command");
    QTest::newRow("missing") << QByteArray("rm $S");
    QTest::newRow("not executable") << QByteArray("chmod 600 $S");
    QTest::newRow("directory") << QByteArray("rm $S; mkdir $S");
}

void TestVersionChange::scriptThatCannotRun()
{
    QFETCH(QByteArray, command);
    Instrument::shell("S=/etc/update/utility_scripts/ChangeToPartition.sh; " + command);
    VersionScreen screen;
    QCOMPARE(change(screen, 0, {accept, end}), changed("1", "255").mid(2));
}

void TestVersionChange::scriptThatPrints()
{
    Instrument::writeScript(script,
                            "echo $# >>/run/calls; echo loud; echo loud >&2; "
                            "head -c 1000000 /dev/zero");
    VersionScreen screen;
    QCOMPARE(change(screen, 0, {accept, end}), changed("1"));
}

void TestVersionChange::warningIsReused()
{
    VersionScreen screen;
    QPointer<QDialog> first;
    change(screen, 0, {[&first](QDialog *dialog) {
               first = dialog;
               reject(dialog);
           }},
           false);
    screen.dialog.show();
    QDialog *second = nullptr;
    QDialog *last = nullptr;
    const QStringList calls = change(screen, 2,
                                     {[&second](QDialog *dialog) {
                                          second = dialog;
                                          accept(dialog);
                                      },
                                      [&last](QDialog *dialog) {
                                          last = dialog;
                                          end(dialog);
                                      }});
    QCOMPARE(calls, changed("8"));
    QVERIFY(first); // nobody has deleted it
    QCOMPARE(second, first.data());
    QVERIFY(last != second);
}

void TestVersionChange::notice()
{
    VersionScreen screen;
    const auto compare = [&screen](QDialog *dialog) {
        QTextEdit expected;
        expected.setText(
            QStringLiteral("<H1><center><br><br><br><br>!! System Is Rebooting !!</center></H1>"));
        QCOMPARE(titleOf(dialog), QString());
        QCOMPARE(dialog->findChild<QTextEdit *>()->toPlainText(), expected.toPlainText());
        for (const QPushButton *button : dialog->findChildren<QPushButton *>())
            QVERIFY(!button->isVisible());
        QCOMPARE(dialog->size(), screen.dialog.size());
        QVERIFY(dialog->isModal());
        end(dialog);
    };
    change(screen, 0, {accept, compare});
}

void TestVersionChange::noticeClosedInAnotherWay_data()
{
    QTest::addColumn<int>("way");
    QTest::newRow("Escape") << 0;
    QTest::newRow("window manager") << 1;
}

// The instrument is on its way down: all that counts is that nothing else is begun.
void TestVersionChange::noticeClosedInAnotherWay()
{
    QFETCH(int, way);
    VersionScreen screen;
    QPointer<QDialog> seen;
    const QStringList calls
        = change(screen, 0, {accept, [&](QDialog *dialog) {
                                 seen = dialog;
                                 way == 0 ? escape(dialog) : closeWindow(dialog);
                                 if (dialog->isVisible())
                                     end(dialog);
                             }});
    QCOMPARE(calls, changed("1"));
    QVERIFY(seen);
}

void TestVersionChange::rebootThatCannotStart()
{
    QFile::remove(reboot);
    VersionScreen screen;
    QCOMPARE(change(screen, 0, {accept, end}, false), changed("1").mid(0, 4));
}

QTEST_MAIN(TestVersionChange)
#include "tst_versionchange.moc"
