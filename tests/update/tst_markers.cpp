#include "tests/support/instrument.h"
#include "tests/update/model.h"
#include "tests/update/runupdate.h"

#include <QtTest>

using Model::Course;

/// What a script may leave at the marker's path, and what a check makes of it.
struct MarkerRow
{
    const char *name;
    const char *make; ///< Shell line; $marker is the path.
    bool failed;
    std::string text; ///< The last line, as it is kept.
};

// clang-format off
static const MarkerRow markerRows[] = {
    {"none",              ":",                                                        false, ""},
    {"one line",          "echo 'wrong bootloader' >$marker",                         true,  "wrong bootloader\n"},
    {"three lines",       "printf 'first\\nsecond\\nthird\\n' >$marker",              true,  "third\n"},
    {"three lines, CRLF", "printf 'first\\r\\nsecond\\r\\nthird\\r\\n' >$marker",     true,  "third\n"},
    {"no last line end",  "printf 'first\\nsecond' >$marker",                         true,  "second"},
    {"last line blank",   "printf 'first\\n\\n' >$marker",                            true,  "\n"},
    {"eight bits",        "printf 'gr\\303\\266\\337er\\377\\n' >$marker",            true,  "gr\303\266\337er\377\n"},
    {"null byte",         "printf 'a\\0b\\n' >$marker",                               true,  std::string("a\0b\n", 4)},
    {"100000 letters",    "head -c 100000 /dev/zero | tr '\\0' x >$marker",           true,  std::string(100000, 'x')},
    {"empty",             ": >$marker",                                               true,  ""},
    {"unreadable",        "echo reason >$marker; chmod 000 $marker",                  true,  ""},
    {"a directory",       "mkdir $marker",                                            true,  ""},
    {"a link to a file",  "echo linked >/tmp/reason; ln -s /tmp/reason $marker",      true,  "linked\n"},
    {"a dangling link",   "ln -s /tmp/nowhere $marker",                               false, ""},
};

/// One of the checks and how it announces a failure.
struct CheckRow
{
    const char *name;
    const char *marker;
    int (*check)(UpdateThread &thread);
    std::string UpdateThread::*text;
    int status; ///< After a failure; it was 2 before.
    QByteArrayList lines;
};

static const CheckRow checkRows[] = {
    {"version", "/tmp/verifyFailed",   [](UpdateThread &thread) { return thread.checkVerifyFailed(2); },  &UpdateThread::verifyFailText,   1, {"title Version Checking:\\nFAILED", "Version Checking...FAILED"}},
    {"files",   "/tmp/verifyFailed",   [](UpdateThread &thread) { return thread.checkVerifyFailed(1); },  &UpdateThread::verifyFailText,   1, {"title Verifying Files:\\nFAILED", "Verifying Files...FAILED"}},
    {"stage 0", "/tmp/verifyFailed",   [](UpdateThread &thread) { return thread.checkVerifyFailed(0); },  &UpdateThread::verifyFailText,   2, {}},
    {"stage 3", "/tmp/verifyFailed",   [](UpdateThread &thread) { return thread.checkVerifyFailed(3); },  &UpdateThread::verifyFailText,   2, {}},
    {"stage -1", "/tmp/verifyFailed",  [](UpdateThread &thread) { return thread.checkVerifyFailed(-1); }, &UpdateThread::verifyFailText,   2, {}},
    {"override", "/tmp/overrideFailed", [](UpdateThread &thread) { return thread.checkOverrideFailed(); }, &UpdateThread::overrideFailText, 0, {"title Update Override:\\nFAILED", "Update Override...FAILED"}},
};
// clang-format on

static QByteArray shellLines(const MarkerRow &row, const char *marker)
{
    return QByteArray("marker=") + marker + '\n' + row.make;
}

static void make(const MarkerRow &row, const char *marker)
{
    const QString body = QString::fromUtf8(shellLines(row, marker));
    QCOMPARE(QProcess::execute(QStringLiteral("/bin/sh"), {QStringLiteral("-c"), body}), 0);
}

Q_DECLARE_METATYPE(const MarkerRow *)
Q_DECLARE_METATYPE(const CheckRow *)

class TestMarkers : public QObject
{
    Q_OBJECT

private slots:
    void init()
    {
        Instrument::clear();
        Instrument::writeUpdateScripts();
    }

    void check_data()
    {
        QTest::addColumn<const MarkerRow *>("marker");
        QTest::addColumn<const CheckRow *>("check");
        for (const CheckRow &check : checkRows) {
            for (const MarkerRow &marker : markerRows)
                QTest::addRow("%s, %s", check.name, marker.name) << &marker << &check;
        }
    }

    void check()
    {
        QFETCH(const MarkerRow *, marker);
        QFETCH(const CheckRow *, check);
        make(*marker, check->marker);
        UpdateThread thread;
        thread.setStatus(2);
        const Transcript transcript(&thread);
        QCOMPARE(check->check(thread), marker->failed ? 1 : 0);
        Transcript::note("returned");

        QCOMPARE(Transcript::lines(),
                 (marker->failed ? check->lines : QByteArrayList()) + QByteArrayList {"returned"});
        QCOMPARE(thread.status, marker->failed ? check->status : 2);
        QCOMPARE(thread.*check->text, marker->text);
        QCOMPARE((thread.verifyFailText + thread.overrideFailText), marker->text);
        // the scripts own the marker: it is still there
        QCOMPARE(QFileInfo::exists(QString::fromLatin1(check->marker)), marker->failed);
    }

    void eachCheckHasItsOwnMarker()
    {
        UpdateThread thread;
        Instrument::write(QStringLiteral("/tmp/overrideFailed"), "override\n");
        QCOMPARE(thread.checkVerifyFailed(1), 0);
        QCOMPARE(thread.checkVerifyFailed(2), 0);
        Instrument::clear();
        Instrument::write(QStringLiteral("/tmp/verifyFailed"), "verify\n");
        QCOMPARE(thread.checkOverrideFailed(), 0);
    }

    void textStandsUntilThereIsAnother()
    {
        const Console console;
        UpdateThread thread;
        const QString marker = QStringLiteral("/tmp/verifyFailed");
        Instrument::write(marker, "first\n");
        QCOMPARE(thread.checkVerifyFailed(1), 1);
        Instrument::write(marker, "");
        QCOMPARE(thread.checkVerifyFailed(1), 1);
        QCOMPARE(thread.verifyFailText, std::string("first\n"));
        QVERIFY(QFile::setPermissions(marker, {}));
        QCOMPARE(thread.checkVerifyFailed(1), 1);
        QCOMPARE(thread.verifyFailText, std::string("first\n"));
        QVERIFY(QFile::remove(marker));
        Instrument::write(marker, "second\nthird\n");
        QCOMPARE(thread.checkVerifyFailed(1), 1);
        QCOMPARE(thread.verifyFailText, std::string("third\n"));
    }

    void update_data()
    {
        QTest::addColumn<const MarkerRow *>("marker");
        QTest::addColumn<int>("mode");
        QTest::addColumn<bool>("byVersionCheck");
        for (int mode : {0, 3, 4}) {
            for (const MarkerRow &marker : markerRows) {
                QTest::addRow("mode %d, version check leaves %s", mode, marker.name)
                    << &marker << mode << true;
                QTest::addRow("mode %d, file check leaves %s", mode, marker.name)
                    << &marker << mode << false;
            }
        }
    }

    void update()
    {
        QFETCH(const MarkerRow *, marker);
        QFETCH(int, mode);
        QFETCH(bool, byVersionCheck);
        Instrument::writeScript(
            QString::fromLatin1(byVersionCheck ? Model::versionScript : Model::filesScript),
            shellLines(*marker, "/tmp/verifyFailed"));
        const Outcome outcome = runUpdate(mode);
        const Course rejected = byVersionCheck ? Course::VersionRejected : Course::FilesRejected;
        QCOMPARE(outcome.lines, Model::update(mode, marker->failed ? rejected : Course::Whole));
        QCOMPARE(outcome.status, marker->failed ? 1 : 0);
        QCOMPARE(outcome.verifyFailText, marker->text);
    }
};

QTEST_GUILESS_MAIN(TestMarkers)
#include "tst_markers.moc"
