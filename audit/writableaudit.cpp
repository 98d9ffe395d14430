#include "audit/audit.h"

#include <QStringList>

#include <algorithm>

namespace {

const auto everything = QStringLiteral("/etc/update");
constexpr const char *leadingThere[] = {"/etc"};

/// A tree that a plain user has made says by its modes alone whom its files will belong to.
constexpr quint32 root = 0;

class WritableAudit
{
public:
    WritableAudit(Tree &instrument, Findings &found)
        : tree(instrument)
        , findings(found)
        , ownersCount(tree.look(QStringLiteral("/")).owner == root)
    {
    }

    void judge(const QString &path);
    void judgeAll(const QString &directory);

private:
    Tree &tree;
    Findings &findings;
    const bool ownersCount;
};

void WritableAudit::judge(const QString &path)
{
    const Entry entry = tree.look(path);
    const bool isForeign = ownersCount && entry.owner != root;
    if (!entry.exists() || (!isForeign && !entry.othersWrite))
        return;
    findings.add(Kind::UpdateWritable, path,
                 isForeign ? QStringLiteral("belongs to another user than root")
                           : QStringLiteral("can be written by others than its owner"),
                 QStringLiteral("what they make of it is run by root, and decides whose updates "
                                "are installed"));
}

void WritableAudit::judgeAll(const QString &directory)
{
    judge(directory);
    QStringList entries;
    QStringList directories;
    tree.list(directory, [&](const QByteArray &name, Entry::Kind kind) {
        const QString path = directory + QLatin1Char('/') + QString::fromUtf8(name);
        (kind == Entry::Directory ? directories : entries) << path;
        return true;
    });
    std::sort(entries.begin(), entries.end());
    std::sort(directories.begin(), directories.end());
    for (const QString &entry : std::as_const(entries))
        judge(entry);
    for (const QString &inner : std::as_const(directories))
        judgeAll(inner);
}

} // namespace

void auditWritable(Tree &tree, Findings &findings)
{
    WritableAudit audit(tree, findings);
    for (const char *directory : leadingThere)
        audit.judge(QString::fromLatin1(directory));
    audit.judgeAll(everything);
}
