#include "audit/audit.h"
#include "audit/report.h"
#include "tests/audit/instrumenttree.h"
#include "tests/fuzz/finding.h"

#include <QFile>
#include <QJsonDocument>

#include <cctype>

#include <sys/stat.h>
#include <unistd.h>

// Any damage to an instrument's tree: the audit comes to its end, tells nothing of what lies
// outside, and its reports can be read. The input is a row of deeds, each a byte for the deed, one
// for the place, one for how many bytes of content follow, and the content.

namespace {

constexpr char secret[] = "what-lies-outside";

const char *const places[] = {
    "/mnt/recovery/logFiles.txt",
    "/mnt/recovery/update_files/1manifest.txt",
    "/mnt/recovery/update_files/8manifest.txt",
    "/mnt/recovery/download/partition_c",
    "/mnt/recovery/download",
    "/etc/update/0-checkpartitions.sh",
    "/etc/update/7-USB-rootfs.sh",
    "/etc/update",
    "/tmp/verifyFailed",
    "/tmp/overrideFailed",
    "/var/log/messages",
    "/usr/share/fonts/liberation/Sans.ttf",
    "/usr/bin/dash",
    "/usr/bin/sh",
    "/bin",
    "/sbin/reboot",
    "/usr/lib/locale",
    "/update",
    "/update/OVERRIDE",
    "/update/OVERRIDE/Size7",
    "/x",
};

void put(const QByteArray &path, const QByteArray &content)
{
    QFile file(QFile::decodeName(path));
    struct stat state = {};
    const bool isThere = stat(path.constData(), &state) == 0;
    if ((!isThere || S_ISREG(state.st_mode)) && file.open(QIODevice::WriteOnly))
        file.write(content);
}

/// What cannot be done is left undone.
void damage(unsigned char deed, const QByteArray &path, const QByteArray &content)
{
    switch (deed % 7) {
    case 0:
        put(path, content);
        break;
    case 1:
        unlink(path.constData());
        break;
    case 2:
        unlink(path.constData());
        if (symlink(content.constData(), path.constData()) != 0)
            return;
        break;
    case 3:
        unlink(path.constData());
        mkdir(path.constData(), 0755);
        break;
    case 4:
        unlink(path.constData());
        mkfifo(path.constData(), 0644);
        break;
    case 5:
        chmod(path.constData(), content.isEmpty() ? 0 : static_cast<mode_t>(content.at(0)) & 0777U);
        break;
    default:
        if (truncate(path.constData(), content.isEmpty() ? 1LL << 40 : content.at(0)) != 0)
            return;
    }
}

void damageAll(const InstrumentTree &instrument, QByteArray bytes)
{
    while (bytes.size() >= 3) {
        const auto place = static_cast<unsigned char>(bytes.at(1)) % std::size(places);
        const int length = static_cast<unsigned char>(bytes.at(2));
        damage(static_cast<unsigned char>(bytes.at(0)),
               QFile::encodeName(instrument.real(QString::fromLatin1(places[place]))),
               bytes.mid(3, length));
        bytes = bytes.mid(3 + length);
    }
}

void look(const QString &top, Tree::Links links, void (*audit)(Tree &, Findings &), Report &report)
{
    QString reason;
    auto tree = Tree::open(top, links, reason);
    if (!tree)
        return;
    audit(*tree, report.findings);
    report.unseen.insert(tree->unseen().begin(), tree->unseen().end());
}

void judge(const QByteArray &report)
{
    expect(!report.contains(secret), "nothing is told of what lies outside");
    for (const char sign : report)
        expect(sign == '\n' || std::iscntrl(static_cast<unsigned char>(sign)) == 0,
               "no terminal takes it for a command");
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const unsigned char *data, std::size_t size)
{
    put("/tmp/outside", secret);
    const InstrumentTree instrument;
    damageAll(instrument, inputBytes(data, size));

    Report report;
    report.root = instrument.top();
    look(instrument.top(), Tree::StayInside, auditInstrument, report);
    look(instrument.top(), Tree::MustNotLeave, auditStick, report);
    judge(textReport(report));
    judge(jsonReport(report));
    QJsonParseError error = {};
    QJsonDocument::fromJson(jsonReport(report), &error);
    expect(error.error == QJsonParseError::NoError, "machines can read it");
    return 0;
}
