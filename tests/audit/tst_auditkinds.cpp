#include "audit/audit.h"
#include "tests/audit/kindrows.h"

#include <QtTest>

void row(const char *name, const Damage &damage, const QByteArray &findings)
{
    QTest::newRow(name) << damage << QString::fromUtf8(findings);
}

namespace {

const auto rootfs = QStringLiteral("/etc/update/7-USB-rootfs.sh");
const auto logList = QStringLiteral("/mnt/recovery/logFiles.txt");
const auto manifest = QStringLiteral("/mnt/recovery/update_files/7manifest.txt");
const auto active = QStringLiteral("/mnt/recovery/download/partition_c");
const auto fonts = QStringLiteral("/usr/share/fonts");

Damage script(const QByteArray &content)
{
    return [=](InstrumentTree &tree) { tree.writeExecutable(rootfs, content); };
}

Damage logs(const QByteArray &content)
{
    return [=](InstrumentTree &tree) { tree.write(logList, content); };
}

Damage version(const QByteArray &content)
{
    return [=](InstrumentTree &tree) { tree.write(manifest, content); };
}

Damage activePartition(const QByteArray &content)
{
    return [=](InstrumentTree &tree) { tree.write(active, content); };
}

/// A manifest in which nothing is wrong, with @p line before it.
QByteArray manifestAfter(const QByteArray &line)
{
    return line
        + "core_version=4.05\ncore_build=118\ninstall_date_time=20230512 09:30:00\n"
          "core_build_date=20230404\nimage_bootloader_version=V4.05.00\n";
}

void scriptRows()
{
    row(
        "nothing", [](InstrumentTree &) {}, "");
    row(
        "script missing", [](InstrumentTree &tree) { tree.remove(rootfs); },
        "script-missing /etc/update/7-USB-rootfs.sh");
    row(
        "script a link that leads nowhere",
        [](InstrumentTree &tree) {
            tree.remove(rootfs);
            tree.makeLink(rootfs, "/nowhere");
        },
        "script-missing /etc/update/7-USB-rootfs.sh");
    row(
        "script a directory",
        [](InstrumentTree &tree) {
            tree.remove(rootfs);
            tree.makeDirectory(rootfs);
        },
        "script-not-a-file /etc/update/7-USB-rootfs.sh");
    row(
        "script a pipe",
        [](InstrumentTree &tree) {
            tree.remove(rootfs);
            tree.makePipe(rootfs);
        },
        "script-not-a-file /etc/update/7-USB-rootfs.sh");
    row(
        "script not executable", [](InstrumentTree &tree) { tree.setMode(rootfs, 0644); },
        "script-not-executable /etc/update/7-USB-rootfs.sh");
    row(
        "script executable by its owner", [](InstrumentTree &tree) { tree.setMode(rootfs, 0700); },
        "");
    row("script empty", script(""), "script-empty /etc/update/7-USB-rootfs.sh");
    row("script without interpreter", script("exit 0\n"),
        "script-without-interpreter /etc/update/7-USB-rootfs.sh");
    row("script with a byte order mark", script("\xef\xbb\xbf#!/bin/sh\n"),
        "script-without-interpreter /etc/update/7-USB-rootfs.sh");
    row("script a program", script("\177ELF\r\n"), "");
    row("interpreter line empty", script("#!  \nexit 0\n"),
        "script-interpreter-line /etc/update/7-USB-rootfs.sh");
    row("interpreter without path", script("#!sh\nexit 0\n"),
        "script-interpreter-line /etc/update/7-USB-rootfs.sh");
    row("interpreter missing", script("#!/bin/bash -e\nexit 0\n"),
        "script-interpreter-missing /etc/update/7-USB-rootfs.sh");
    row("interpreter behind a blank", script("#! /bin/sh -e\nexit 0\n"), "");
    row(
        "interpreter not executable",
        [](InstrumentTree &tree) {
            tree.write(QStringLiteral("/usr/bin/awk"), "\177ELF");
            tree.writeExecutable(rootfs, "#!/usr/bin/awk -f\n");
        },
        "script-interpreter-not-executable /etc/update/7-USB-rootfs.sh");
    row(
        "interpreter that env does not find",
        [](InstrumentTree &tree) {
            tree.writeExecutable(QStringLiteral("/usr/bin/env"), "\177ELF");
            tree.writeExecutable(rootfs, "#!/usr/bin/env python3\n");
        },
        "script-interpreter-missing /etc/update/7-USB-rootfs.sh");
    row(
        "interpreter that env finds",
        [](InstrumentTree &tree) {
            tree.writeExecutable(QStringLiteral("/usr/bin/env"), "\177ELF");
            tree.writeExecutable(rootfs, "#!/usr/bin/env sh\n");
        },
        "");
    row("Windows lines", script("#!/bin/sh\r\nexit 0\r\n"),
        "script-windows-lines /etc/update/7-USB-rootfs.sh");
    row("Windows lines from the second on", script("#!/bin/sh\nexit 0\r\n"),
        "script-windows-lines /etc/update/7-USB-rootfs.sh");
    row("Windows lines in what is packed behind the script",
        script(QByteArray("#!/bin/sh\nexit\n\0\r\n", 18)), "");
    row(
        "script that nothing runs",
        [](InstrumentTree &tree) {
            tree.writeExecutable(QStringLiteral("/etc/update/8-USB-app.sh"), "#!/bin/sh\n");
            tree.writeExecutable(QStringLiteral("/etc/update/instrument.sh"), "#!/bin/sh\n");
            tree.writeExecutable(QStringLiteral("/etc/update/9-UbootVariables.sh"), "#!/bin/sh\n");
        },
        "script-never-run /etc/update/8-USB-app.sh");
    row(
        "program missing",
        [](InstrumentTree &tree) { tree.remove(QStringLiteral("/sbin/reboot")); },
        "program-missing /sbin/reboot");
    row(
        "program not executable",
        [](InstrumentTree &tree) { tree.setMode(QStringLiteral("/usr/bin/grep"), 0644); },
        "program-missing /bin/grep");
    row(
        "programs for the listing",
        [](InstrumentTree &tree) { tree.remove(QStringLiteral("/usr/bin/ls")); },
        "program-missing /bin/ls|program-missing ls");
}

void markerRows()
{
    row(
        "marker left",
        [](InstrumentTree &tree) { tree.write(QStringLiteral("/tmp/verifyFailed"), ""); },
        "marker-left /tmp/verifyFailed");
    row(
        "marker a link that leads nowhere",
        [](InstrumentTree &tree) {
            tree.makeLink(QStringLiteral("/tmp/verifyFailed"), "/nowhere");
        },
        "");
    row(
        "override marker left",
        [](InstrumentTree &tree) { tree.write(QStringLiteral("/tmp/overrideFailed"), ""); },
        "marker-left-unused /tmp/overrideFailed");
    row(
        "no directory for markers",
        [](InstrumentTree &tree) { tree.remove(QStringLiteral("/tmp")); }, "marker-directory /tmp");
    row(
        "file in place of the directory for markers",
        [](InstrumentTree &tree) {
            tree.remove(QStringLiteral("/tmp"));
            tree.write(QStringLiteral("/tmp"), "");
        },
        "marker-directory /tmp");
}

void logRows()
{
    row(
        "list missing", [](InstrumentTree &tree) { tree.remove(logList); },
        "log-list-missing /mnt/recovery/logFiles.txt");
    row(
        "list a pipe",
        [](InstrumentTree &tree) {
            tree.remove(logList);
            tree.makePipe(logList);
        },
        "log-list-not-a-file /mnt/recovery/logFiles.txt");
    row(
        "list too large", [](InstrumentTree &tree) { tree.stretch(logList, 1024 * 1024 + 1); },
        "log-list-too-large /mnt/recovery/logFiles.txt");
    row("list not UTF-8", logs("messages,/var/log,Z\xe4hler\n"),
        "log-list-encoding /mnt/recovery/logFiles.txt");
    row("list empty", logs("\n\n"), "log-list-empty /mnt/recovery/logFiles.txt");
    row("list with Windows lines", logs("messages,/var/log,System\r\n\r\n"), "");
    row("two fields", logs("messages,/var/log,System\n\nmessages,/var/log\n"),
        "log-field-missing /mnt/recovery/logFiles.txt:3");
    row("one field", logs("messages\n"),
        "log-field-missing /mnt/recovery/logFiles.txt:1|log-missing /mnt/recovery/logFiles.txt:1");
    row("no name", logs("messages,/var/log,\n"), "log-field-missing /mnt/recovery/logFiles.txt:1");
    row("comma in the name", logs("messages,/var/log,System, kernel\n"),
        "log-field-extra /mnt/recovery/logFiles.txt:1");
    row("blanks before the directory", logs("messages, /var/log,System\n"),
        "log-blanks /mnt/recovery/logFiles.txt:1|log-relative /mnt/recovery/logFiles.txt:1");
    row("blanks behind the file", logs("messages ,/var/log,System\n"),
        "log-blanks /mnt/recovery/logFiles.txt:1|log-missing /mnt/recovery/logFiles.txt:1");
    row("blanks before the name", logs("messages,/var/log, System\n"),
        "log-blanks /mnt/recovery/logFiles.txt:1");
    row("directory without slash", logs("messages,var/log,System\n"),
        "log-relative /mnt/recovery/logFiles.txt:1");
    row("out of the file system", logs("messages,/var/../../var/log,System\n"),
        "log-outside /mnt/recovery/logFiles.txt:1");
    row("up and down inside", logs("messages,/var/log/../../var/log,System\n"), "");
    row("log missing", logs("crash.log,/var/log,Crashes\n"),
        "log-missing /mnt/recovery/logFiles.txt:1");
    row(
        "log a link inside",
        [](InstrumentTree &tree) {
            tree.makeLink(QStringLiteral("/var/log/syslog"), "/var/log/messages");
            tree.write(logList, "syslog,/var/log,System\n");
        },
        "");
    row(
        "log a link to what is only outside",
        [](InstrumentTree &tree) {
            tree.makeLink(QStringLiteral("/var/log/syslog"), "/opt/source/check");
            tree.write(logList, "syslog,/var/log,System\n");
        },
        "log-missing /mnt/recovery/logFiles.txt:1");
    row(
        "log a link that climbs out",
        [](InstrumentTree &tree) {
            tree.makeLink(QStringLiteral("/var/log/syslog"),
                          "../../../../../../../../opt/source/check");
            tree.write(logList, "syslog,/var/log,System\n");
        },
        "log-missing /mnt/recovery/logFiles.txt:1");
    row("log a directory", logs("log,/var,System\n"),
        "log-not-a-file /mnt/recovery/logFiles.txt:1");
    row(
        "log a pipe",
        [](InstrumentTree &tree) {
            tree.makePipe(QStringLiteral("/var/log/pipe"));
            tree.write(logList, "pipe,/var/log,System\n");
        },
        "log-not-a-file /mnt/recovery/logFiles.txt:1");
}

void versionRows()
{
    row(
        "manifest missing",
        [](InstrumentTree &tree) {
            tree.remove(QStringLiteral("/mnt/recovery/update_files/8manifest.txt"));
        },
        "manifest-missing /mnt/recovery/update_files/8manifest.txt");
    row(
        "manifest a directory",
        [](InstrumentTree &tree) {
            tree.remove(QStringLiteral("/mnt/recovery/update_files/8manifest.txt"));
            tree.makeDirectory(QStringLiteral("/mnt/recovery/update_files/8manifest.txt"));
        },
        "manifest-not-a-file /mnt/recovery/update_files/8manifest.txt");
    row(
        "manifest too large", [](InstrumentTree &tree) { tree.stretch(manifest, 1024 * 1024 + 1); },
        "manifest-too-large /mnt/recovery/update_files/7manifest.txt");
    row("manifest not UTF-8", version(manifestAfter("#\xe4\n")),
        "manifest-encoding /mnt/recovery/update_files/7manifest.txt");
    row("manifest with a byte order mark", version(manifestAfter("\xef\xbb\xbf")), "");
    row("manifest with Windows lines", version(manifestAfter("").replace("\n", "\r\n")),
        "manifest-windows-lines /mnt/recovery/update_files/7manifest.txt");
    row("indented line", version(manifestAfter(" note=1\n")),
        "manifest-line-ignored /mnt/recovery/update_files/7manifest.txt:1");
    row("line without value", version(manifestAfter("installed\n")),
        "manifest-line-ignored /mnt/recovery/update_files/7manifest.txt:1");
    row("comments and blank lines", version(manifestAfter("# a=b\n;c\n\n  \n")), "");
    row("key missing",
        version("core_version=4.05\ncore_build=118\ninstall_date_time=20230512 09:30:00\n"
                "core_build_date=20230404\n"),
        "manifest-key-missing /mnt/recovery/update_files/7manifest.txt");
    row("blanks around the equals sign",
        version(manifestAfter("").replace("core_build=", "core_build = ")),
        "manifest-key-unknown /mnt/recovery/update_files/7manifest.txt:2|"
        "manifest-key-missing /mnt/recovery/update_files/7manifest.txt");
    row("value missing", version(manifestAfter("").replace("4.05\n", "\n")),
        "manifest-value-missing /mnt/recovery/update_files/7manifest.txt:1");
    row("key unknown", version(manifestAfter("core_versoin=4\n")),
        "manifest-key-unknown /mnt/recovery/update_files/7manifest.txt:1");
    row("key repeated", version(manifestAfter("core_build=117\n")),
        "manifest-key-repeated /mnt/recovery/update_files/7manifest.txt:3");
    row("key of the program's own", version(manifestAfter("empty=1\npart=9\n")),
        "manifest-key-shadowed /mnt/recovery/update_files/7manifest.txt:1|"
        "manifest-key-shadowed /mnt/recovery/update_files/7manifest.txt:2");
    row("date that is none", version(manifestAfter("").replace("20230404", "2023-04-04")),
        "manifest-date /mnt/recovery/update_files/7manifest.txt:4");
    row("date without its time", version(manifestAfter("").replace(" 09:30:00", "")), "");
    row("date with a blank behind", version(manifestAfter("").replace("20230404", "20230404 ")),
        "manifest-date /mnt/recovery/update_files/7manifest.txt:4");
    row(
        "active missing", [](InstrumentTree &tree) { tree.remove(active); },
        "active-missing /mnt/recovery/download/partition_c");
    row(
        "active a pipe",
        [](InstrumentTree &tree) {
            tree.remove(active);
            tree.makePipe(active);
        },
        "active-not-a-file /mnt/recovery/download/partition_c");
    row("active with a blank", activePartition("7 \n"),
        "active-blanks /mnt/recovery/download/partition_c");
    row("active with Windows lines", activePartition("7\r\n"), "");
    row("active without line break", activePartition("8"), "");
    row("active no partition", activePartition("2\n"),
        "active-unknown /mnt/recovery/download/partition_c");
    row("active empty", activePartition(""), "active-unknown /mnt/recovery/download/partition_c");
    row("active in the second line", activePartition("\n7\n"),
        "active-unknown /mnt/recovery/download/partition_c");
    row(
        "active not installed", [](InstrumentTree &tree) { tree.remove(manifest); },
        "manifest-missing /mnt/recovery/update_files/7manifest.txt|"
        "active-not-installed /mnt/recovery/download/partition_c");
}

void surroundingsRows()
{
    row(
        "font missing",
        [](InstrumentTree &tree) { tree.remove(fonts + QStringLiteral("/liberation/Mono.ttf")); },
        "font-missing /usr/share/fonts");
    row(
        "font of another family",
        [](InstrumentTree &tree) {
            tree.writeFont(fonts + QStringLiteral("/liberation/Mono.ttf"),
                           QStringLiteral("Liberation Mono Nerd"));
        },
        "font-missing /usr/share/fonts");
    row(
        "fonts elsewhere, behind links",
        [](InstrumentTree &tree) {
            tree.remove(fonts);
            for (const char *style : {"Sans", "Serif", "Mono"})
                tree.writeFont(QStringLiteral("/opt/fonts/%1.TTF").arg(QString::fromLatin1(style)),
                               QStringLiteral("Liberation ") + QString::fromLatin1(style));
            tree.makeLink(QStringLiteral("/usr/local/share/fonts/ours"), "/opt/fonts");
            tree.makeLink(QStringLiteral("/opt/fonts/again"), "..");
        },
        "");
    row(
        "locale missing",
        [](InstrumentTree &tree) { tree.remove(QStringLiteral("/usr/lib/locale/C.utf8")); },
        "locale-missing /usr/lib/locale");
    row(
        "locale in the archive",
        [](InstrumentTree &tree) {
            tree.remove(QStringLiteral("/usr/lib/locale/C.utf8"));
            tree.write(QStringLiteral("/usr/lib/locale/locale-archive"),
                       QByteArray("\0de_DE.utf8\0", 12));
        },
        "");
    row(
        "locale not UTF-8",
        [](InstrumentTree &tree) {
            tree.write(QStringLiteral("/etc/default/locale"), "# set\nLANG=\"de_DE.ISO-8859-1\"\n");
        },
        "locale-not-utf8 /etc/default/locale:2");
    row(
        "locale overruled",
        [](InstrumentTree &tree) {
            tree.write(QStringLiteral("/etc/default/locale"), "LANG=C\nLC_ALL=C.UTF-8\n");
        },
        "");
}

} // namespace

class TestAuditKinds : public QObject
{
    Q_OBJECT

private slots:
    void damageIsFound_data()
    {
        QTest::addColumn<Damage>("damage");
        QTest::addColumn<QString>("findings");
        scriptRows();
        markerRows();
        logRows();
        versionRows();
        surroundingsRows();
        keyRows();
    }

    void damageIsFound()
    {
        QFETCH(Damage, damage);
        QFETCH(QString, findings);
        InstrumentTree tree;
        damage(tree);
        const QStringList found = tree.findings();
        for (const QString &finding : found)
            tested << finding.section(QLatin1Char(' '), 0, 0);
        QCOMPARE(found.join(QLatin1Char('|')), findings);
    }

    void everyKindHasARow()
    {
        for (const KindRow &kind : kindRows) {
            const QString name = QString::fromLatin1(kind.name);
            const bool isOfSticks = name.startsWith(QLatin1String("stick"))
                || name.startsWith(QLatin1String("overrides"));
            QVERIFY2(isOfSticks || tested.contains(name), kind.name);
        }
    }

private:
    QStringList tested; ///< Kinds that the rows have found.
};

QTEST_GUILESS_MAIN(TestAuditKinds)
#include "tst_auditkinds.moc"
