#include "tests/support/instrument.h"
#include "tests/support/transcript.h"
#include "update/updatethread.h"

#include <QtTest>

static const QString script = QStringLiteral("/etc/update/00-USB-installoverrides.sh");

/// What the override script does and what it gives.
struct OverrideRow
{
    const char *name;
    const char *body;
    int code;
    QByteArrayList scriptLines; ///< What the script itself leaves in the transcript.
};

// clang-format off
static const OverrideRow overrideRows[] = {
    {"installed",           "echo size70; echo warning >&2",         0,  {script.toLatin1(), "size70"}},
    {"matches the display", "echo same; exit 1",                     1,  {script.toLatin1(), "same"}},
    {"invalid combination", "printf 'one\\ntwo\\n'; exit 2",         2,  {script.toLatin1(), "one", "two"}},
    {"another code",        "exit 3",                                3,  {script.toLatin1()}},
    {"98 of its own",       "exit 98",                               98, {script.toLatin1()}},
    {"255",                 "exit 255",                             255, {script.toLatin1()}},
    {"killed",              "kill -KILL $$",                         -1, {script.toLatin1()}},
    {"crashed",             "kill -ABRT $$",                         -1, {script.toLatin1()}},
    {"missing",             nullptr,                                 -2, {}},
};
// clang-format on

Q_DECLARE_METATYPE(const OverrideRow *)

class TestOverrides : public QObject
{
    Q_OBJECT

private slots:
    void init() { Instrument::clear(); }

    void install_data()
    {
        QTest::addColumn<const OverrideRow *>("row");
        QTest::addColumn<bool>("rejected");
        for (const OverrideRow &row : overrideRows) {
            QTest::addRow("%s", row.name) << &row << false;
            QTest::addRow("%s, rejected", row.name) << &row << true;
        }
    }

    void install()
    {
        QFETCH(const OverrideRow *, row);
        QFETCH(bool, rejected);
        if (row->body)
            Instrument::writeScript(script, row->body);
        if (rejected)
            Instrument::write(QStringLiteral("/tmp/verifyFailed"), "bad sum\n");

        QByteArrayList expected {"Implementing overrides...", "title Overrides:"};
        expected += row->scriptLines;
        if (row->code == 0)
            expected += "title Overrides:\\nRebooting";
        if (rejected)
            expected += {"title Verifying Files:\\nFAILED", "Verifying Files...FAILED"};
        else
            expected += "Status set...";
        expected += "returned";

        UpdateThread thread;
        const Transcript transcript(&thread);
        const int result = thread.installOverrides();
        Transcript::note("returned");
        QCOMPARE(Transcript::lines(), expected);
        QCOMPARE(result, rejected ? 98 : row->code);
        QCOMPARE(thread.status, rejected ? 1 : 2);
        QCOMPARE(thread.verifyFailText, std::string(rejected ? "bad sum\n" : ""));
    }

    /// The script may reject the files itself.
    void rejectedByTheScript()
    {
        Instrument::writeScript(script, "echo 'bad size' >/tmp/verifyFailed; exit 2");
        UpdateThread thread;
        const Transcript transcript(&thread);
        QCOMPARE(thread.installOverrides(), 98);
        QCOMPARE(
            Transcript::lines(),
            (QByteArrayList {"Implementing overrides...", "title Overrides:", script.toLatin1(),
                             "title Verifying Files:\\nFAILED", "Verifying Files...FAILED"}));
        QCOMPARE(thread.status, 1);
        QCOMPARE(thread.verifyFailText, std::string("bad size\n"));
    }

    void cannotBeStarted_data()
    {
        QTest::addColumn<QByteArray>("content");
        QTest::addColumn<bool>("executable");
        QTest::newRow("not executable") << QByteArray("#!/bin/sh\n") << false;
        QTest::newRow("bad interpreter") << QByteArray("#!/no/such/shell\n") << true;
        QTest::newRow("no shebang") << QByteArray("exit 0\n") << true;
        QTest::newRow("empty") << QByteArray() << true;
    }

    void cannotBeStarted()
    {
        QFETCH(QByteArray, content);
        QFETCH(bool, executable);
        Instrument::write(script, content);
        if (executable)
            QFile::setPermissions(script, QFile::ReadOwner | QFile::ExeOwner);
        UpdateThread thread;
        const Transcript transcript(&thread);
        QCOMPARE(thread.installOverrides(), -2);
        QCOMPARE(
            Transcript::lines(),
            (QByteArrayList {"Implementing overrides...", "title Overrides:", "Status set..."}));
        QCOMPARE(thread.status, 2);
    }

    /// An automatic start installs the overrides again with every tick until the reboot comes.
    void installAgain()
    {
        Instrument::writeScript(script, "exit 1");
        UpdateThread thread;
        const Transcript transcript(&thread);
        for (int i = 0; i < 3; ++i)
            QCOMPARE(thread.installOverrides(), 1);
        const QByteArrayList once {"Implementing overrides...",
                                   "title Overrides:", script.toLatin1(), "Status set..."};
        QCOMPARE(Transcript::lines(), once + once + once);
    }

    void outputOfTheScriptReachesTheConsole()
    {
        Instrument::writeScript(script, "echo size70; echo unknown size >&2");
        UpdateThread thread;
        Console standardOutput;
        Console standardError(STDERR_FILENO);
        QCOMPARE(thread.installOverrides(), 0);
        QCOMPARE(standardOutput.take(),
                 QByteArray("Implementing overrides...\nsize70\nStatus set...\n"));
        QCOMPARE(standardError.take(), QByteArray("unknown size\n"));
    }

    void runsInTheCallersThread()
    {
        Instrument::writeScript(script);
        UpdateThread thread;
        QList<QThread *> senders;
        connect(&thread, &UpdateThread::titleChanged, [&] { senders += QThread::currentThread(); });
        const Transcript transcript(&thread);
        thread.installOverrides();
        QCOMPARE(senders, (QList<QThread *> {QThread::currentThread(), QThread::currentThread()}));
        QVERIFY(!thread.isRunning());
    }
};

QTEST_GUILESS_MAIN(TestOverrides)
#include "tst_overrides.moc"
