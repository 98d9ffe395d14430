#include "tests/support/instrument.h"
#include "tests/update/model.h"
#include "tests/update/runupdate.h"

#include <QtTest>

using Model::Course;

/// How one sequence goes when one script does what its body says.
struct UpdateRow
{
    const char *name;
    QVector<int> modes;
    const char *script; ///< Or null: nothing is out of the ordinary.
    const char *body;
    const char *progress;
    QByteArrayList titles;
    int status;
    Course course;
    int recoveryCode;
};

// clang-format off
static const QVector<int> usb = {0, 1, 7, -1}; // 7 and -1 are no modes at all
static const char beforehand[] = "no script: before the update starts";
static const char *const recovery = Model::recoveryScript;
static const char *const version = Model::versionScript;
static const char *const files = Model::filesScript;
static const char rejects[] = "echo rejected >/tmp/verifyFailed";
static const QByteArray verifying = "title Verifying Files:";
static const QByteArray versionFailed = "title Version Checking:\\nFAILED";
static const QByteArray filesFailed = "title Verifying Files:\\nFAILED";

static const UpdateRow updateRows[] = {
    {"good", usb, nullptr, "", "0 5 10 30 35 45 50 60 70 80 90 95 100",             {verifying, "title USB Update\\nin progress..."},  0, Course::Whole, 0},
    {"good", {2}, nullptr, "", "0 5 10 45 50 60 70 80 90 95 100",                   {"title Update in progress..."},                   0, Course::Whole, 0},
    {"good", {3}, nullptr, "", "0 5 10 20 30 35 40 45 50 60 70 80 90 95 95 100",    {verifying, "title Net Update in progress..."},    0, Course::Whole, 0},
    {"good", {4}, nullptr, "", "0 5 10 30 35 40 45 50 60 70 80 90 95 95 100",       {verifying, "title USB Update\\nin progress..."},  0, Course::Whole, 0},

    {"recovery system fails with 1",   {0, 1, 2, 3, 4, 7, -1}, recovery, "exit 1",   "0 5 10 100", {}, 0, Course::Aborted, 1},
    {"recovery system fails with 255", {0, 1, 2, 3, 4, 7, -1}, recovery, "exit 255", "0 5 10 100", {}, 0, Course::Aborted, 255},

    {"version rejected", usb, version, rejects, "0 5 10 30",            {verifying, versionFailed}, 1, Course::VersionRejected, 0},
    {"version rejected", {3}, version, rejects, "0 5 10 20 30 95 100",  {verifying, versionFailed}, 1, Course::VersionRejected, 0},
    {"version rejected", {4}, version, rejects, "0 5 10 30",            {verifying, versionFailed}, 1, Course::VersionRejected, 0},

    {"files rejected", usb, files, rejects, "0 5 10 30 35",             {verifying, filesFailed},   1, Course::FilesRejected, 0},
    {"files rejected", {3}, files, rejects, "0 5 10 20 30 35 95 100",   {verifying, filesFailed},   1, Course::FilesRejected, 0},
    {"files rejected", {4}, files, rejects, "0 5 10 30 35",             {verifying, filesFailed},   1, Course::FilesRejected, 0},

    // The program never removes the marker, and the rebuild never looks at it.
    {"marker of an earlier run", usb, beforehand, "rejected\n", "0 5 10 30",           {verifying, versionFailed}, 1, Course::VersionRejected, 0},
    {"marker of an earlier run", {2}, beforehand, "rejected\n", "0 5 10 45 50 60 70 80 90 95 100", {"title Update in progress..."}, 0, Course::Whole, 0},
    {"marker of an earlier run", {3}, beforehand, "rejected\n", "0 5 10 20 30 95 100", {verifying, versionFailed}, 1, Course::VersionRejected, 0},
    {"marker of an earlier run", {4}, beforehand, "rejected\n", "0 5 10 30",           {verifying, versionFailed}, 1, Course::VersionRejected, 0},
    // Nor does anything look for a marker once the files were found good.
    {"marker after the images", {0, 1, 2, 3, 4, 7, -1}, "/etc/update/7-USB-rootfs.sh", rejects, nullptr, {}, 0, Course::Whole, 0},
};
// clang-format on

Q_DECLARE_METATYPE(const UpdateRow *)

class TestUpdateSequences : public QObject
{
    Q_OBJECT

private slots:
    void init()
    {
        Instrument::clear();
        Instrument::writeUpdateScripts();
    }

    void update_data()
    {
        QTest::addColumn<const UpdateRow *>("row");
        QTest::addColumn<int>("mode");
        for (const UpdateRow &row : updateRows) {
            for (int mode : row.modes)
                QTest::addRow("mode %d, %s", mode, row.name) << &row << mode;
        }
    }

    void update()
    {
        QFETCH(const UpdateRow *, row);
        QFETCH(int, mode);
        if (row->script == beforehand)
            Instrument::write(QStringLiteral("/tmp/verifyFailed"), row->body);
        else if (row->script)
            Instrument::writeScript(QString::fromLatin1(row->script), row->body);
        const Outcome outcome = runUpdate(mode);

        QCOMPARE(outcome.lines, Model::update(mode, row->course, row->recoveryCode));
        QCOMPARE(outcome.status, row->status);
        QCOMPARE(outcome.verifyFailText, std::string(row->status == 1 ? "rejected\n" : ""));
        if (!row->progress)
            return;
        QByteArrayList progress;
        QByteArrayList titles;
        for (const QByteArray &line : outcome.lines) {
            if (line.contains('%'))
                progress += line.left(line.indexOf('%'));
            if (line.startsWith("title "))
                titles += line;
        }
        QCOMPARE(progress.join(' '), QByteArray(row->progress));
        QCOMPARE(titles, row->titles);
    }
};

QTEST_GUILESS_MAIN(TestUpdateSequences)
#include "tst_updatesequences.moc"
