#include "tests/support/instrument.h"
#include "tests/support/transcript.h"
#include "tests/update/model.h"
#include "tests/update/steps.h"
#include "update/stepcatalogue.h"

#include <QtTest>

#include <iterator>

/// A step under its name, as the catalogue calls it, and as UpdateThread offers it.
struct Operation
{
    const char *name;
    Step step;
    void (*run)(Steps &thread);
};

static const Operation operations[] = {
    {"checkFilesystem", Step::CheckFilesystem, [](Steps &thread) { thread.checkFilesystem(); }},
    {"unzipFirmwareImage", Step::UnzipFirmwareImage,
     [](Steps &thread) { thread.unzipFirmwareImage(); }},
    {"checkVersion", Step::CheckVersion, [](Steps &thread) { thread.checkVersion(); }},
    {"validateFiles", Step::ValidateFiles, [](Steps &thread) { thread.validateFiles(); }},
    {"backupUserFiles", Step::BackupUserFiles, [](Steps &thread) { thread.backupUserFiles(); }},
    {"updateImages", Step::UpdateImages, [](Steps &thread) { thread.updateImages(); }},
    {"updateUbootVariables", Step::UpdateUbootVariables,
     [](Steps &thread) { thread.updateUbootVariables(); }},
    {"runPostUpdate", Step::RunPostUpdate, [](Steps &thread) { thread.runPostUpdate(); }},
    {"restoreUserFiles", Step::RestoreUserFiles, [](Steps &thread) { thread.restoreUserFiles(); }},
    {"setNextPartition", Step::SetNextPartition, [](Steps &thread) { thread.setNextPartition(); }},
    {"failedCleanup", Step::FailedCleanup, [](Steps &thread) { thread.failedCleanup(); }},
};

struct EndingRow
{
    const char *name;
    int mode;
    bool failed;
    QByteArrayList lines;
};

static const QByteArrayList usbEnd
    = {"100% Update Successful, rebooting", "sync", "REBOOTING...", "/etc/update/11-Reboot.sh"};
static const QByteArrayList rebuildEnd
    = {"100% Update Successful, exiting", "sync", "/etc/update/11-DCA-Reboot.sh"};

static const EndingRow endings[] = {
    {"USB", 0, false, usbEnd},
    {"USB, failed", 0, true, usbEnd},
    {"hidden button", 1, false, usbEnd},
    {"hidden button, failed", 1, true, usbEnd},
    {"rebuild", 2, false, rebuildEnd},
    {"rebuild, failed", 2, true, rebuildEnd},
    {"network",
     3,
     false,
     {"100% Net Update Successful, rebooting", "sync", "REBOOTING...", "sync",
      "/etc/update/11-Reboot.sh"}},
    {"network, failed",
     3,
     true,
     {"100% Net Update Failed, rebooting", "sync", "REBOOTING...", "sync",
      "/etc/update/11-Reboot.sh"}},
    {"USB with backup", 4, false, usbEnd},
    {"USB with backup, failed", 4, true, usbEnd},
    {"unknown", 7, false, usbEnd},
    {"unknown, failed", 7, true, usbEnd},
    {"negative", -1, false, usbEnd},
    {"negative, failed", -1, true, usbEnd},
};

struct FilesystemRow
{
    const char *name;
    const char *partitionsBody;
    const char *recoveryBody;
    int code;
};

// Only the second script's result counts.
static const FilesystemRow filesystemRows[] = {
    {"both succeed", "", "", 0},
    {"partitions fail", "exit 5", "", 0},
    {"recovery system fails", "", "exit 7", 7},
    {"both fail", "exit 5", "exit 255", 255},
    {"partitions killed", "kill -9 $$", "", 0},
};

class TestStepCatalogue : public QObject
{
    Q_OBJECT

private slots:
    void init()
    {
        Instrument::clear();
        Instrument::writeUpdateScripts();
    }

    void catalogueHoldsTheManualsRows()
    {
        auto row = stepCatalogue.begin();
        for (const Model::Step &expected : Model::steps) {
            QVERIFY2(row != stepCatalogue.end(), expected.script);
            const auto operation = std::find_if(
                std::begin(operations), std::end(operations), [&](const Operation &candidate) {
                    return qstrcmp(candidate.name, expected.name) == 0;
                });
            QCOMPARE(row->step, operation->step);
            QCOMPARE(row->print, expected.print);
            QCOMPARE(row->progress, expected.progress);
            QCOMPARE(row->message, expected.message);
            QCOMPARE(row->script, expected.script);
            ++row;
        }
        QCOMPARE(row, stepCatalogue.end());
    }

    void operationRunsItsRowsOnly_data()
    {
        QTest::addColumn<int>("index");
        for (int index = 0; index < int(std::size(operations)); ++index)
            QTest::newRow(operations[index].name) << index;
    }

    void operationRunsItsRowsOnly()
    {
        QFETCH(int, index);
        const Operation &operation = operations[index];
        Steps thread;
        const Transcript transcript(&thread);
        operation.run(thread);
        Transcript::note("returned");
        QByteArrayList expected = Model::step(operation.name);
        if (operation.step == Step::CheckFilesystem)
            expected += "code = 0";
        QCOMPARE(Transcript::lines(), expected + QByteArrayList {"returned"});
        QCOMPARE(thread.status, 0);
    }

    void checkFilesystemReturnsTheRecoveryScriptsCode_data()
    {
        QTest::addColumn<QByteArray>("partitionsBody");
        QTest::addColumn<QByteArray>("recoveryBody");
        QTest::addColumn<int>("code");
        for (const FilesystemRow &row : filesystemRows)
            QTest::newRow(row.name)
                << QByteArray(row.partitionsBody) << QByteArray(row.recoveryBody) << row.code;
    }

    void checkFilesystemReturnsTheRecoveryScriptsCode()
    {
        QFETCH(QByteArray, partitionsBody);
        QFETCH(QByteArray, recoveryBody);
        QFETCH(int, code);
        Instrument::writeScript(QStringLiteral("/etc/update/0-checkpartitions.sh"), partitionsBody);
        Instrument::writeScript(QString::fromLatin1(Model::recoveryScript), recoveryBody);
        Steps thread;
        const Transcript transcript(&thread);
        QCOMPARE(thread.checkFilesystem(), code);
        QCOMPARE(Transcript::lines(),
                 Model::step("checkFilesystem")
                     + QByteArrayList {"code = " + QByteArray::number(code)});
    }

    void finishUpdate_data()
    {
        QTest::addColumn<int>("mode");
        QTest::addColumn<bool>("failed");
        QTest::addColumn<QByteArrayList>("lines");
        for (const EndingRow &row : endings)
            QTest::newRow(row.name) << row.mode << row.failed << row.lines;
    }

    void finishUpdate()
    {
        QFETCH(int, mode);
        QFETCH(bool, failed);
        QFETCH(QByteArrayList, lines);
        Steps thread;
        const Transcript transcript(&thread);
        thread.setMode(mode);
        thread.finishUpdate(failed);
        QCOMPARE(Transcript::lines(), lines);
    }
};

QTEST_GUILESS_MAIN(TestStepCatalogue)
#include "tst_stepcatalogue.moc"
