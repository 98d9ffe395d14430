#include "tests/audit/kindrows.h"

#include <QStringList>

namespace {

const auto keys = QStringLiteral("/etc/update/keys");
const auto thisKey = QStringLiteral("/etc/update/keys/this.pub");
const auto rule = QStringLiteral("/etc/udev/rules.d/90-stick.rules");
const auto mounter = QStringLiteral("/usr/lib/instrument/stick");
const auto table = QStringLiteral("/etc/fstab");
const QByteArray inMemory = "tmpfs /run tmpfs mode=755 0 0\n";
const QByteArray safely = "nosuid,nodev,noexec,nosymfollow";

Damage keyFile(const QByteArray &content)
{
    return [=](InstrumentTree &tree) { tree.write(thisKey, content); };
}

Damage beside(const char *name, const QByteArray &content)
{
    return [=](InstrumentTree &tree) {
        tree.write(keys + QLatin1Char('/') + QString::fromUtf8(name), content);
    };
}

Damage mode(const QString &path, unsigned bits)
{
    return [=](InstrumentTree &tree) { tree.setMode(path, bits); };
}

Damage rules(const QByteArray &content)
{
    return [=](InstrumentTree &tree) { tree.write(rule, content); };
}

/// A rule that starts a script, and the script.
Damage script(const QByteArray &content)
{
    return [=](InstrumentTree &tree) {
        tree.write(rule, "KERNEL==\"sd*\", RUN+=\"/usr/lib/instrument/stick in $devnode\"\n");
        tree.writeExecutable(mounter, "#!/bin/sh\n" + content);
    };
}

/// Nothing but a line of fstab, or a unit, mounts a stick.
Damage only(const QString &path, const QByteArray &content)
{
    return [=](InstrumentTree &tree) {
        tree.remove(rule);
        tree.write(path, content);
    };
}

Damage fstab(const QByteArray &line)
{
    return [=](InstrumentTree &tree) { tree.write(table, line); };
}

void keyDirectoryRows()
{
    row(
        "no keys", [](InstrumentTree &tree) { tree.remove(keys); },
        "keys-missing /etc/update/keys");
    row(
        "no keys, nothing that verifies",
        [](InstrumentTree &tree) {
            tree.remove(keys);
            tree.remove(QStringLiteral("/etc/update/signature.sh"));
        },
        "keys-missing /etc/update/keys");
    row(
        "a file in place of the keys",
        [](InstrumentTree &tree) {
            tree.remove(keys);
            tree.write(keys, publicKey('t'));
        },
        "keys-not-a-directory /etc/update/keys");
    row(
        "keys behind a link that leads nowhere",
        [](InstrumentTree &tree) {
            tree.remove(keys);
            tree.makeLink(keys, "/srv/keys");
        },
        "keys-not-a-directory /etc/update/keys");
    row(
        "keys behind a link",
        [](InstrumentTree &tree) {
            tree.remove(keys);
            tree.write(QStringLiteral("/srv/keys/1.pub"), publicKey('1'));
            tree.write(QStringLiteral("/srv/keys/2.pub"), publicKey('2'));
            tree.makeLink(keys, "/srv/keys");
        },
        "");
    row(
        "directory of keys empty",
        [](InstrumentTree &tree) {
            tree.remove(keys);
            tree.makeDirectory(keys);
        },
        "keys-empty /etc/update/keys");
    row(
        "no key is called as one",
        [](InstrumentTree &tree) {
            tree.remove(keys);
            tree.write(keys + QStringLiteral("/.hidden.pub"), publicKey('t'));
        },
        "key-ignored /etc/update/keys/.hidden.pub|keys-empty /etc/update/keys");
    row(
        "keys, and nothing that verifies",
        [](InstrumentTree &tree) { tree.remove(QStringLiteral("/etc/update/signature.sh")); },
        "keys-unused /etc/update/keys");
    row(
        "nothing to verify with",
        [](InstrumentTree &tree) {
            tree.remove(QStringLiteral("/usr/bin/minisign"));
            tree.remove(QStringLiteral("/usr/bin/unzip"));
        },
        "program-missing minisign|program-missing unzip");
    row(
        "nothing to verify with, and no keys",
        [](InstrumentTree &tree) {
            tree.remove(QStringLiteral("/usr/bin/minisign"));
            tree.remove(keys);
        },
        "keys-missing /etc/update/keys");
}

void keyFileRows()
{
    const QByteArray alone = "|key-alone /etc/update/keys";
    const QByteArray damaged = "key-damaged /etc/update/keys/this.pub" + alone;
    const QByteArray good = publicKey('t');
    row("key empty", keyFile(""), damaged);
    row("key without its comment", keyFile(good.mid(good.indexOf('\n') + 1)), damaged);
    row("key cut off", keyFile(good.chopped(5)), damaged);
    row("key with a blank behind", keyFile(good.chopped(1) + " \n"), damaged);
    row("key of a signature", keyFile("untrusted comment\n" + QByteArray(42, 'E').toBase64()),
        damaged);
    row(
        "key a directory",
        [](InstrumentTree &tree) {
            tree.remove(thisKey);
            tree.makeDirectory(thisKey);
        },
        damaged);
    row("key with Windows lines", keyFile(QByteArray(good).replace("\n", "\r\n")), "");
    row("key without line break", keyFile(good.chopped(1)), "");
    row("key without a word in its comment", keyFile(good.mid(good.indexOf('\n'))), "");
    row("the same key twice", keyFile(publicKey('n')), "key-alone /etc/update/keys");
    row("a third key", beside("third.pub", publicKey('3')), "");
    row("key with another name", beside("third.key", publicKey('3')),
        "key-ignored /etc/update/keys/third.key");
    for (const QByteArray password : {"Sc", "\0\0"})
        row("secret key",
            beside("this.key",
                   "comment\n"
                       + ("Ed" + QByteArray(password.constData(), 2) + "B2" + QByteArray(152, 's'))
                             .toBase64()),
            "key-secret /etc/update/keys/this.key");
}

void writableRows()
{
    row("keys writable for a group", mode(keys, 0775), "update-writable /etc/update/keys");
    row("keys writable for all", mode(keys, 0757), "update-writable /etc/update/keys");
    row("key writable for a group", mode(thisKey, 0664),
        "update-writable /etc/update/keys/this.pub");
    row("key for its owner alone", mode(thisKey, 0600), "");
    row("script writable for all", mode(QStringLiteral("/etc/update/11-Reboot.sh"), 0757),
        "update-writable /etc/update/11-Reboot.sh");
    row("script of a screen writable for all",
        mode(QStringLiteral("/etc/update/utility_scripts/ExportFiles.sh"), 0777),
        "update-writable /etc/update/utility_scripts/ExportFiles.sh");
    row("scripts' directory writable for all, sticky", mode(QStringLiteral("/etc/update"), 01777),
        "update-writable /etc/update");
    row("what leads there writable for a group", mode(QStringLiteral("/etc"), 0775),
        "update-writable /etc");
    row("something else writable for all", mode(QStringLiteral("/etc/fstab"), 0666), "");
    row(
        "script behind a link to what all may write",
        [](InstrumentTree &tree) {
            const auto reboot = QStringLiteral("/etc/update/11-Reboot.sh");
            tree.remove(reboot);
            tree.writeExecutable(QStringLiteral("/srv/reboot"), "#!/bin/sh\n");
            tree.setMode(QStringLiteral("/srv/reboot"), 0777);
            tree.makeLink(reboot, "/srv/reboot");
        },
        "update-writable /etc/update/11-Reboot.sh");
}

void mountCommandRows()
{
    const char *inRule = "mount-options /etc/udev/rules.d/90-stick.rules:1";
    const char *inScript = "mount-options /usr/lib/instrument/stick:2";
    for (const QByteArray option : {"nosuid,", "nodev,", "noexec,", "nosymfollow,"}) {
        const QByteArray name = "rule without " + option;
        row(name.constData(),
            rules("RUN+=\"/bin/mount -o " + QByteArray(safely + ",utf8").replace(option, "")
                  + " $devnode /media/usb0\"\n"),
            inRule);
    }
    row("rule without options", rules("RUN+=\"/bin/mount $devnode /media/usb0\"\n"), inRule);
    row("rule that takes one back",
        rules("RUN+=\"/bin/mount -o " + safely + ",exec $devnode /media/usb0\"\n"), inRule);
    row("rule by systemd",
        rules("RUN+=\"/bin/systemd-mount --options=" + safely + " $devnode /media/usb0\"\n"), "");
    row("rule in a comment, another beside",
        rules("#RUN+=\"/bin/mount $devnode /media/usb0\"\nRUN+=\"/bin/mount -o " + safely
              + " $devnode \\\n/media/usb0\"\n"),
        "");
    row("script that a rule starts", script("mount -o " + safely + " \"$2\" /media/usb0\n"), "");
    row("script without options", script("mount -t vfat \"$2\" /media/usb0\n"), inScript);
    row("script in a case", script("case $1 in in) mount $2 /media/usb0 ;; esac\n"), inScript);
    row("script behind then", script("if true; then busybox mount $2 /media/usb0; fi\n"), inScript);
    row("script with a setting before", script("LC_ALL=C mount $2 /media/usb0\n"), inScript);
    row("script that names the place before",
        script("mount -o ro $2 ${place:-/media/usb0}\n# place\n"), inScript);
    row("script with options in a variable",
        script("options=" + safely + "\nmount -o \"$options\" \"$2\" /media/usb0\n"), "");
    row("script with other options in a variable",
        script("options=noatime\nmount -o \"$options\" \"$2\" /media/usb0 # " + safely + "\n"),
        "mount-options /usr/lib/instrument/stick:3");
    row("script that only talks of mounting",
        script("echo mount /media/usb0\nmount | grep /media/usb0\numount /media/usb0\nmount -o "
               + safely + ",utf8 $2 /media/usb0/\n"),
        "");
    row("script that mounts elsewhere",
        script("mount $2 /mnt/other\nmount -o " + safely + " $2 /media/usb0\n"), "");
    row("script without a path", rules("RUN+=\"stick-in\"\n"), "mount-unseen /media/usb0");
}

void mountFileRows()
{
    const auto unit = QStringLiteral("/etc/systemd/system/stick@.service");
    row(
        "nothing that mounts", [](InstrumentTree &tree) { tree.remove(rule); },
        "mount-unseen /media/usb0");
    row("fstab", only(table, inMemory + "/dev/sda1 /media/usb0 vfat noauto," + safely + " 0 0\n"),
        "");
    row("fstab for a user",
        only(table, inMemory + "/dev/sda1 /media/usb0 vfat user,nosymfollow 0 0\n"), "");
    row("fstab without options",
        only(table, inMemory + "# sticks\n/dev/sda1\t/media/usb0  vfat defaults 0 0\n"),
        "mount-options /etc/fstab:3");
    row(
        "fstab, asked by a rule",
        [](InstrumentTree &tree) {
            tree.write(table, inMemory + "/dev/sda1 /media/usb0 vfat " + safely + " 0 0\n");
            tree.write(rule, "RUN+=\"/bin/mount /media/usb0\"\n");
        },
        "");
    row("mount unit",
        only(QStringLiteral("/usr/lib/systemd/system/media-usb0.mount"),
             "[Mount]\nWhat=/dev/sda1\nWhere=/media/usb0\nOptions=" + safely + "\n"),
        "");
    row("mount unit without options",
        only(QStringLiteral("/etc/systemd/system/media-usb0.mount"),
             "[Mount]\nWhat=/dev/sda1\nWhere=/media/usb0\n"),
        "mount-options /etc/systemd/system/media-usb0.mount");
    row(
        "service that a rule starts",
        [=](InstrumentTree &tree) {
            tree.write(rule, "ENV{SYSTEMD_WANTS}+=\"stick@%k.service\"\n");
            tree.write(unit, "[Service]\nExecStart=-/bin/mount /dev/%i /media/usb0\n");
        },
        "mount-options /etc/systemd/system/stick@.service:2");
    row(
        "script of a service",
        [=](InstrumentTree &tree) {
            tree.write(rule, "ENV{SYSTEMD_WANTS}+=\"stick@%k.service\"\n");
            tree.write(unit, "[Service]\nExecStart=/usr/lib/instrument/stick /dev/%i\n");
            tree.writeExecutable(mounter, "#!/bin/sh\nmount $1 /media/usb0\n");
        },
        "mount-options /usr/lib/instrument/stick:2");
    row(
        "program of udev's own directory",
        [](InstrumentTree &tree) {
            tree.write(rule, "RUN+=\"stick-in %k\"\n");
            tree.writeExecutable(QStringLiteral("/usr/lib/udev/stick-in"),
                                 "#!/bin/sh\nmount /dev/$1 /media/usb0\n");
        },
        "mount-options /usr/lib/udev/stick-in:2");
    row(
        "rule that another of the same name hides",
        [](InstrumentTree &tree) {
            tree.write(QStringLiteral("/usr/lib/udev/rules.d/90-stick.rules"),
                       "RUN+=\"/bin/mount $devnode /media/usb0\"\n");
        },
        "");
    row(
        "rule of the distribution",
        [](InstrumentTree &tree) {
            tree.remove(rule);
            tree.write(QStringLiteral("/usr/lib/udev/rules.d/60-stick.rules"),
                       "RUN+=\"/bin/mount $devnode /media/usb0\"\n");
        },
        "mount-options /usr/lib/udev/rules.d/60-stick.rules:1");
}

void workPlaceRows()
{
    row("work on storage", fstab("/dev/mmcblk0p14 /run ext4 defaults 0 0\n"),
        "work-on-storage /etc/fstab:1");
    row("work in memory, then on storage",
        fstab(inMemory + "/dev/mmcblk0p14 /run/update ext4 defaults 0 0\n"),
        "work-on-storage /etc/fstab:2");
    row("work not seen", fstab("# " + inMemory), "work-unseen /run");
    row(
        "work in memory by an init script",
        [](InstrumentTree &tree) {
            tree.remove(table);
            tree.write(QStringLiteral("/etc/init.d/rcS"), "#!/bin/sh\nmount -t tmpfs none /run\n");
        },
        "");
    row(
        "work on storage by an init script",
        [](InstrumentTree &tree) {
            tree.remove(table);
            tree.write(QStringLiteral("/etc/init.d/rcS"),
                       "#!/bin/sh\nmount -t tmpfs none /tmp\nmount -t ext4 /dev/sdb1 /run\n");
        },
        "work-unseen /run");
    row(
        "work in memory by systemd",
        [](InstrumentTree &tree) {
            tree.remove(table);
            tree.writeExecutable(QStringLiteral("/usr/lib/systemd/systemd"), "\177ELF");
            tree.makeLink(QStringLiteral("/sbin/init"), "/usr/lib/systemd/systemd");
        },
        "");
    row(
        "systemd, but another init",
        [](InstrumentTree &tree) {
            tree.remove(table);
            tree.writeExecutable(QStringLiteral("/usr/lib/systemd/systemd"), "\177ELF");
            tree.writeExecutable(QStringLiteral("/sbin/init"), "\177ELF");
        },
        "work-unseen /run");
}

} // namespace

void keyRows()
{
    keyDirectoryRows();
    keyFileRows();
    writableRows();
    mountCommandRows();
    mountFileRows();
    workPlaceRows();
}
