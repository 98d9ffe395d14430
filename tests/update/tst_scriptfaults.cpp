#include "tests/support/instrument.h"
#include "tests/update/model.h"
#include "tests/update/runupdate.h"

#include <QtTest>

using Model::Course;

/// What may be wrong with a script.
struct Fault
{
    const char *name;
    const char *body; ///< Of a script that runs, or null.
    const char *content; ///< Of a file that cannot be run, or null: there is none.
    bool executable;
    int code; ///< What the process object reports.
};

// clang-format off
static const Fault faults[] = {
    {"exits with 1",              "exit 1",         nullptr,                true,  1},
    {"exits with 255",            "exit 255",       nullptr,                true,  255},
    {"is killed",                 "kill -KILL $$",  nullptr,                true,  9},
    {"is terminated",             "kill -TERM $$",  nullptr,                true,  15},
    {"leaves a process behind",   "sleep 600 &",    nullptr,                true,  0},
    {"closes its streams",        "exec <&- >&- 2>&-", nullptr,             true,  0},
    {"is missing",                nullptr,          nullptr,                false, 255},
    {"is not executable",         nullptr,          "#!/bin/sh\n",          false, 255},
    {"has a bad interpreter",     nullptr,          "#!/no/such/shell\n",   true,  255},
    {"has no shebang",            nullptr,          "exit 0\n",             true,  255},
    {"is empty",                  nullptr,          "",                     true,  255},
};
// clang-format on

static void install(const Fault &fault, const QString &path)
{
    QFile::remove(path);
    if (fault.body)
        Instrument::writeScript(path, fault.body);
    if (!fault.content)
        return;
    Instrument::write(path, fault.content);
    if (fault.executable)
        QFile::setPermissions(path, QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner);
}

Q_DECLARE_METATYPE(const Fault *)
Q_DECLARE_METATYPE(Course)

class TestScriptFaults : public QObject
{
    Q_OBJECT

private slots:
    void init()
    {
        Instrument::clear();
        Instrument::writeUpdateScripts();
    }

    // One function a mode, so that they run side by side.
    void usb_data() { everyFaultOfEveryScript(0); }
    void usb() { runWithFault(0); }
    void rebuild_data() { everyFaultOfEveryScript(2); }
    void rebuild() { runWithFault(2); }
    void network_data() { everyFaultOfEveryScript(3); }
    void network() { runWithFault(3); }
    void usbWithBackup_data() { everyFaultOfEveryScript(4); }
    void usbWithBackup() { runWithFault(4); }

    void rejectionStandsWhateverBecomesOfItsScript_data()
    {
        QTest::addColumn<int>("mode");
        QTest::addColumn<QByteArray>("end");
        for (int mode : {0, 3, 4}) {
            for (const char *end : {"exit 1", "kill -KILL $$"})
                QTest::addRow("mode %d, %s", mode, end) << mode << QByteArray(end);
        }
    }

    void rejectionStandsWhateverBecomesOfItsScript()
    {
        QFETCH(int, mode);
        QFETCH(QByteArray, end);
        Instrument::writeScript(QString::fromLatin1(Model::filesScript),
                                "echo 'sum of rootfs' >/tmp/verifyFailed\n" + end);
        const Outcome outcome = runUpdate(mode);
        QCOMPARE(outcome.lines, Model::update(mode, Course::FilesRejected));
        QCOMPARE(outcome.status, 1);
        QCOMPARE(outcome.verifyFailText, std::string("sum of rootfs\n"));
    }

    void allScriptsMissing_data()
    {
        QTest::addColumn<int>("mode");
        for (int mode : {0, 2, 3, 4})
            QTest::addRow("mode %d", mode) << mode;
    }

    /// An instrument without its scripts announces the reboot that it cannot make.
    void allScriptsMissing()
    {
        QFETCH(int, mode);
        Instrument::clear();
        QByteArrayList expected = Model::update(mode, Course::Aborted, 255);
        for (const QByteArray &script : Model::scripts(expected))
            expected.removeAll(script);
        QCOMPARE(runUpdate(mode).lines, expected);
    }

private:
    /// The columns are the script, the fault and the course that the update takes without it.
    static void everyFaultOfEveryScript(int mode)
    {
        QTest::addColumn<QByteArray>("script");
        QTest::addColumn<const Fault *>("fault");
        QTest::addColumn<Course>("course");
        const QVector<QPair<const char *, Course>> courses = {
            {"", Course::Whole},
            {"rejected, ", Course::VersionRejected},
            {"aborted, ", Course::Aborted},
        };
        for (const auto &course : courses) {
            if (mode == 2 && course.second == Course::VersionRejected)
                continue; // a rebuild rejects nothing
            for (const QByteArray &script : Model::scripts(Model::update(mode, course.second, 1))) {
                if (course.second == Course::Aborted && script == Model::recoveryScript)
                    continue; // its own faults are those of the whole course
                for (const Fault &fault : faults)
                    QTest::addRow("%s%s %s", course.first, script.constData(), fault.name)
                        << script << &fault << course.second;
            }
        }
    }

    static void runWithFault(int mode)
    {
        QFETCH(QByteArray, script);
        QFETCH(const Fault *, fault);
        QFETCH(Course, course);
        if (course == Course::VersionRejected)
            Instrument::write(QStringLiteral("/tmp/verifyFailed"), "rejected\n");
        if (course == Course::Aborted)
            Instrument::writeScript(QString::fromLatin1(Model::recoveryScript), "exit 1");
        install(*fault, QString::fromLatin1(script));

        int recoveryCode = course == Course::Aborted ? 1 : 0;
        if (script == Model::recoveryScript && fault->code != 0) {
            course = Course::Aborted;
            recoveryCode = fault->code;
        }
        QByteArrayList expected = Model::update(mode, course, recoveryCode);
        if (!fault->body)
            QVERIFY(expected.removeOne(script));
        const Outcome outcome = runUpdate(mode);
        QCOMPARE(outcome.lines, expected);
        QCOMPARE(outcome.status, course == Course::VersionRejected ? 1 : 0);
    }
};

QTEST_GUILESS_MAIN(TestScriptFaults)
#include "tst_scriptfaults.moc"
