#include "audit/audit.h"
#include "audit/report.h"
#include "tests/fuzz/finding.h"

#include <QDir>
#include <QFile>
#include <QJsonDocument>
#include <QTemporaryDir>

#include <cctype>

#include <sys/stat.h>
#include <unistd.h>

// Any directory tree as an instrument's: the audit comes to its end, tells nothing of what lies
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
void carryOut(int deed, const QByteArray &path, const QByteArray &content)
{
    if (deed != 0 && deed < 5)
        unlink(path.constData());
    const char first = content.isEmpty() ? '\0' : content.at(0);
    [[maybe_unused]] int failed = 0;
    switch (deed) {
    case 0:
        return put(path, content);
    case 1:
        return;
    case 2:
        failed = symlink(content.constData(), path.constData());
        return;
    case 3:
        failed = mkdir(path.constData(), 0755);
        return;
    case 4:
        failed = mkfifo(path.constData(), 0644);
        return;
    case 5:
        failed = chmod(path.constData(), static_cast<mode_t>(first) & 0777U);
        return;
    default:
        failed = truncate(path.constData(), content.isEmpty() ? 1LL << 40 : first);
    }
}

void build(const QString &top, QByteArray bytes)
{
    while (bytes.size() >= 3) {
        const int deed = static_cast<unsigned char>(bytes.at(0)) % 7;
        const auto place = static_cast<unsigned char>(bytes.at(1)) % std::size(places);
        const int length = static_cast<unsigned char>(bytes.at(2));
        const QString path = top + QString::fromLatin1(places[place]);
        QDir().mkpath(path.section(QLatin1Char('/'), 0, -2));
        carryOut(deed, QFile::encodeName(path), bytes.mid(3, length));
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
    const QTemporaryDir instrument;
    build(instrument.path(), inputBytes(data, size));

    Report report;
    report.root = instrument.path();
    look(instrument.path(), Tree::StayInside, auditInstrument, report);
    look(instrument.path(), Tree::MustNotLeave, auditStick, report);
    judge(textReport(report));
    judge(jsonReport(report));
    QJsonParseError error = {};
    QJsonDocument::fromJson(jsonReport(report), &error);
    expect(error.error == QJsonParseError::NoError, "machines can read it");
    return 0;
}
