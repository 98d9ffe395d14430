#include "audit/audit.h"
#include "audit/fontfile.h"
#include "audit/modes.h"
#include "audit/report.h"
#include "tests/audit/instrumenttree.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QtTest>

// What is made of findings, and what they say.

namespace {

struct SeenRow
{
    const char *script;
    const char *seen;
};

constexpr SeenRow seenRows[] = {
    {"/etc/update/0-checkpartitions.sh",
     "\"Checking Filesystem...\" at 5 % passes as if done, up to \"Update Successful, rebooting\", "
     "\"Net Update Successful, rebooting\" or \"Update Successful, exiting\""},
    {"/etc/update/1-AUTUPD-createRecoverySystem.sh",
     "\"Verifying Recovery Filesystem...\" at 10 %, then nothing is installed: straight to "
     "\"Update "
     "Successful, rebooting\", \"Net Update Failed, rebooting\" or \"Update Successful, exiting\""},
    {"/etc/update/2-USB-checkupdatefiles.sh",
     "\"Validating Files...\" at 35 % lets every update pass unchecked, up to \"Update Successful, "
     "rebooting\" or \"Net Update Successful, rebooting\""},
    {"/etc/update/2-AUTUPD-unzipFirmwareImage.sh",
     "\"Unzipping Net Update Firmware Image...\" at 20 % passes as if done, up to \"Net Update "
     "Successful, rebooting\""},
    {"/etc/update/99-AUTUPD-failedCleanup.sh",
     "\"Recovery Cleanup...\" at 95 % passes and nothing is cleaned up before \"Net Update Failed, "
     "rebooting\""},
    {"/etc/update/11-DCA-Reboot.sh",
     "\"Update Successful, exiting\" stays on the screen: the instrument does not restart"},
    {"/etc/update/11-Reboot.sh",
     "\"Update Successful, rebooting\", \"Net Update Successful, rebooting\" or \"Net Update "
     "Failed, "
     "rebooting\" stays on the screen: the instrument does not restart"},
    {"/etc/update/9-UbootVariables.sh", ""},
};

struct ModeRow
{
    const char *id;
    const char *scripts; ///< Their numbers or names, as far as it takes to tell them apart.
    const char *afterRejection;
};

constexpr ModeRow modeRows[] = {
    {"usb", "0- 1-A 99-USB 2-USB 3-USB 4- 5- 6- 7- 10- 11-Set 11-R", ""},
    {"usb-settings-kept", "0- 1-A 99-USB 2-USB 3-AUT 3-USB 4- 5- 6- 7- 10- 11-AUT 11-Set 11-R", ""},
    {"network", "0- 1-A 2-AUT 99-USB 2-USB 3-AUT 3-USB 4- 5- 6- 7- 10- 11-AUT 11-Set 11-R",
     "99-AUT 11-R"},
    {"blank-board", "0- 1-A 3-USB 4- 5- 6- 7- 10- 11-Set 11-DCA", ""},
};

bool beginAs(const QStringList &names, const QStringList &beginnings)
{
    if (names.size() != beginnings.size())
        return false;
    for (int i = 0; i < names.size(); ++i) {
        if (!names.at(i).startsWith(beginnings.at(i)))
            return false;
    }
    return true;
}

QStringList namesOf(const std::vector<ScriptUse> &scripts)
{
    QStringList names;
    for (const ScriptUse &use : scripts)
        names << use.script.section(QLatin1Char('/'), -1);
    return names;
}

QStringList words(const char *text)
{
    return QString::fromLatin1(text).split(QLatin1Char(' '), Qt::SkipEmptyParts);
}

Report reportOn(const InstrumentTree &instrument)
{
    Report report;
    report.root = instrument.top();
    QString reason;
    auto tree = Tree::open(instrument.top(), Tree::StayInside, reason);
    if (!tree)
        qFatal("%s", qPrintable(reason));
    auditInstrument(*tree, report.findings);
    report.unseen = tree->unseen();
    return report;
}

const auto logList = QStringLiteral("/mnt/recovery/logFiles.txt");

} // namespace

class TestAuditReport : public QObject
{
    Q_OBJECT

private slots:
    void saysWhatIsSeen_data()
    {
        QTest::addColumn<QString>("seen");
        for (const SeenRow &row : seenRows)
            QTest::newRow(row.script) << QString::fromLatin1(row.seen);
    }

    void saysWhatIsSeen()
    {
        QFETCH(QString, seen);
        QCOMPARE(seenIfNotStarted(QString::fromLatin1(QTest::currentDataTag())), seen);
    }

    void modesRunTheirScripts()
    {
        auto plan = modePlans().begin();
        for (const ModeRow &row : modeRows) {
            QVERIFY(plan != modePlans().end());
            QCOMPARE(QString::fromLatin1(plan->id), QString::fromLatin1(row.id));
            QVERIFY2(beginAs(namesOf(plan->scripts), words(row.scripts)), row.id);
            QVERIFY2(beginAs(namesOf(plan->afterRejection), words(row.afterRejection)), row.id);
            ++plan;
        }
        QVERIFY(plan == modePlans().end());
    }

    void scriptThatStartsOnlyMayFail()
    {
        InstrumentTree instrument;
        instrument.writeExecutable(QStringLiteral("/etc/update/11-DCA-Reboot.sh"),
                                   "#!/bin/sh\nexit 0\r\n");
        QCOMPARE(instrument.seen().join(QLatin1Char('|')),
                 QStringLiteral("script-windows-lines /etc/update/11-DCA-Reboot.sh: if it fails: "
                                "\"Update Successful, exiting\" stays on the screen: the "
                                "instrument does not restart"));
    }

    void spellingIsSuggested()
    {
        InstrumentTree instrument;
        const auto script = QStringLiteral("/etc/update/7-USB-rootfs.sh");
        for (const char *name :
             {"/etc/update/7-usb-RootFS.sh", "/etc/update/7-USB-rootfs.sh.txt"}) {
            QFile::rename(instrument.real(script), instrument.real(QString::fromLatin1(name)));
            const Report report = reportOn(instrument);
            QCOMPARE(report.findings.all().front().problem,
                     QStringLiteral("does not exist (there is %1)")
                         .arg(QString::fromLatin1(name).section(QLatin1Char('/'), -1)));
            QFile::rename(instrument.real(QString::fromLatin1(name)), instrument.real(script));
        }
    }

    void brokenLinkIsNotSuggestedForItself()
    {
        InstrumentTree instrument;
        const auto script = QStringLiteral("/etc/update/7-USB-rootfs.sh");
        instrument.remove(script);
        instrument.makeLink(script, "/nowhere");
        QCOMPARE(reportOn(instrument).findings.all().front().problem,
                 QStringLiteral("is a link that leads nowhere"));
    }

    void goodInstrument()
    {
        const InstrumentTree instrument;
        const Report report = reportOn(instrument);
        QCOMPARE(textReport(report), QByteArray("no faults\n"));
        QCOMPARE(int(exitStatus(report)), int(Clean));
    }

    void notesAreNoFaults()
    {
        InstrumentTree instrument;
        instrument.remove(QStringLiteral("/var/log/messages"));
        Report report = reportOn(instrument);
        QCOMPARE(textReport(report),
                 QByteArray("note: /mnt/recovery/logFiles.txt:1: /var/log/messages does not exist: "
                            "\"System Log\" is grey and cannot be opened\nno faults, 1 note\n"));
        QCOMPARE(int(exitStatus(report)), int(Clean));
        report.strict = true;
        QCOMPARE(int(exitStatus(report)), int(FoundSomething));
    }

    void placeNotLookedAt()
    {
        InstrumentTree instrument;
        instrument.remove(QStringLiteral("/sbin/reboot"));
        instrument.setMode(logList, 0);
        const Report report = reportOn(instrument);
        QCOMPARE(
            textReport(report),
            QByteArray("/sbin/reboot: does not exist: \"!! System Is Rebooting !!\" stays on the "
                       "screen: the instrument does not restart\n"
                       "could not look at /mnt/recovery/logFiles.txt: Permission denied\n"
                       "1 fault, 1 place not looked at\n"));
        QCOMPARE(int(exitStatus(report)), int(CouldNotLook));
    }

    void hostileNamesAreWrittenOut()
    {
        InstrumentTree instrument;
        instrument.write(logList, "x,/var/log,\x1b[2J\xe2\x80\xae\xc3\xa4\xf0\x9f\x98\x80\n");
        const QByteArray text = textReport(reportOn(instrument));
        QVERIFY2(text.contains("\"\\x1b[2J\\u202e\xc3\xa4\xf0\x9f\x98\x80\" is grey"),
                 text.constData());
        QVERIFY(!text.contains('\x1b'));
    }

    // JSON itself lets pass what some terminals take for the beginning of a command, and what turns
    // lines round.
    void hostileNamesAreWrittenOutForMachines()
    {
        InstrumentTree instrument;
        instrument.write(logList,
                         "x,/var/log,\x1b\x7f\xc2\x9b\xe2\x80\xae\xc3\xa4\xf0\x9f\x98\x80\n");
        const QByteArray text = jsonReport(reportOn(instrument));
        QVERIFY2(text.contains("\\u001b\\u007f\\u009b\\u202e\xc3\xa4\xf0\x9f\x98\x80\\\" is grey"),
                 text.constData());
        const QJsonArray findings
            = QJsonDocument::fromJson(text).object().value(QStringLiteral("findings")).toArray();
        QCOMPARE(findings.at(0).toObject().value(QStringLiteral("seen")).toString(),
                 QString::fromUtf8("\"\x1b\x7f\xc2\x9b\xe2\x80\xae\xc3\xa4\xf0\x9f\x98\x80\" is "
                                   "grey and cannot be opened"));
    }

    void manyOfAKindAreCounted()
    {
        InstrumentTree instrument;
        instrument.write(logList, QByteArray("x,/var/log,X\n").repeated(1234));
        const Report report = reportOn(instrument);
        QCOMPARE(int(report.findings.all().size()), Findings::keptOfAKind);
        QVERIFY(textReport(report).endsWith(
            "\nand 1134 more of the kind log-missing\nno faults, 1234 notes\n"));
        const QJsonObject json = QJsonDocument::fromJson(jsonReport(report)).object();
        QCOMPARE(json.value(QStringLiteral("notes")).toInt(), 1234);
        QCOMPARE(json.value(QStringLiteral("notListed")).toObject(),
                 QJsonObject({{QStringLiteral("log-missing"), 1134}}));
    }

    void forMachines()
    {
        InstrumentTree instrument;
        const auto script = QStringLiteral("/etc/update/11-SetNextPartition.sh");
        instrument.setMode(script, 0644);
        instrument.write(logList, "messages,/var/log\n");
        const QJsonObject json = QJsonDocument::fromJson(jsonReport(reportOn(instrument))).object();
        QCOMPARE(json.keys(),
                 words("faults findings modes notListed notLookedAt notes root schema status stick "
                       "version"));
        QCOMPARE(json.value(QStringLiteral("root")).toString(), instrument.top());
        QVERIFY(json.value(QStringLiteral("stick")).isNull());
        QCOMPARE(json.value(QStringLiteral("status")).toInt(), 1);

        const QJsonArray findings = json.value(QStringLiteral("findings")).toArray();
        QCOMPARE(findings.size(), 2);
        const QJsonObject first = findings.at(0).toObject();
        QCOMPARE(first.keys(), words("fault kind path problem seen"));
        QCOMPARE(first.value(QStringLiteral("kind")).toString(),
                 QStringLiteral("script-not-executable"));
        QCOMPARE(first.value(QStringLiteral("path")).toString(), script);
        QCOMPARE(findings.at(1).toObject().value(QStringLiteral("line")).toInt(), 1);

        const QJsonArray modes = json.value(QStringLiteral("modes")).toArray();
        QCOMPARE(modes.size(), 4);
        const QJsonArray scripts
            = modes.at(0).toObject().value(QStringLiteral("scripts")).toArray();
        QCOMPARE(scripts.size(), 12);
        for (const QJsonValue &value : scripts)
            QCOMPARE(value.toObject().value(QStringLiteral("faulty")).toBool(),
                     value.toObject().value(QStringLiteral("script")).toString() == script);
    }

    void modesAreListed()
    {
        InstrumentTree instrument;
        instrument.remove(QStringLiteral("/etc/update/4-USB-kernel.sh"));
        const QByteArray text = modesReport(reportOn(instrument));
        QCOMPARE(text.count("FAULT"), 4);
        for (const char *part : {"USB update, ends with \"Update Successful, rebooting\"\n",
                                 "network update, ends with", "after a rejection:\n",
                                 " 10 %  1-AUTUPD-createRecoverySystem.sh ",
                                 "by the marker \"Verifying Files: / FAILED\", clean-up and \"Net "
                                 "Update Failed, rebooting\""})
            QVERIFY2(text.contains(part), part);
    }

    void documentNamesEveryKind()
    {
        QFile file(QStringLiteral("/opt/source/docs/audit.md"));
        QVERIFY(file.open(QIODevice::ReadOnly));
        const QByteArray document = file.readAll();
        for (const KindRow &kind : kindRows) {
            const QByteArray row
                = QByteArray("| `") + kind.name + "` | " + (kind.fault ? "fault" : "note") + " |";
            QVERIFY2(document.contains(row), kind.name);
        }
    }

    void loopsOfFontDirectoriesAreWalkedOnce()
    {
        InstrumentTree instrument;
        instrument.remove(QStringLiteral("/usr/share/fonts/liberation/Sans.ttf"));
        for (const char *loop : {"/usr/share/fonts/a", "/usr/share/fonts/b", "/usr/share/fonts/c"})
            instrument.makeLink(QString::fromLatin1(loop), ".");
        QCOMPARE(reportOn(instrument).findings.all().front().problem,
                 QStringLiteral("lacks \"Liberation Sans\", which the screens ask for"));
    }

    void kindsAreInTheirOrder()
    {
        for (std::size_t i = 0; i < kindRows.size(); ++i)
            QCOMPARE(static_cast<std::size_t>(kindRows.at(i).kind), i);
    }

    void realFontsSayTheirFamily()
    {
        QString reason;
        auto tree = Tree::open(QStringLiteral("/usr/share/fonts/truetype/liberation"),
                               Tree::StayInside, reason);
        QVERIFY2(tree, qPrintable(reason));
        QVERIFY(fontFamilies(*tree, QStringLiteral("LiberationSerif-BoldItalic.ttf"))
                    .contains(QStringLiteral("Liberation Serif")));
    }
};

QTEST_GUILESS_MAIN(TestAuditReport)
#include "tst_auditreport.moc"
