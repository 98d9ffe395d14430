#include "audit/audit.h"
#include "audit/fontfile.h"
#include "audit/formfonts.h"

#include <QSet>

#include <utility>

namespace {

constexpr const char *fontDirectories[] = {
    "/usr/share/fonts",
    "/usr/local/share/fonts",
    "/usr/share/X11/fonts",
    "/usr/lib/fonts",
};

// No instrument has as many; past them the search would only cost time.
constexpr int entryLimit = 50000;
constexpr int fileLimit = 2000;
constexpr int depthLimit = 12;

/// Looks through the directories of fonts for the families that are missing, until none is.
class FontSearch
{
public:
    FontSearch(Tree &lookedAt, const QSet<QString> &families)
        : tree(lookedAt)
        , missing(families)
    {
    }

    void search(const QString &directory, int depth = 0);
    bool isMissing(const QString &family) const { return missing.contains(family); }
    bool gaveUp() const { return entries > entryLimit || files > fileLimit; }

private:
    bool isDone() const { return missing.isEmpty() || gaveUp(); }
    void visit(const QString &path, int depth);
    void read(const QString &path);

    Tree &tree;
    QSet<QString> missing;
    QSet<QPair<quint64, quint64>> visited; ///< Directories: links may lead back.
    int entries = 0;
    int files = 0;
};

void FontSearch::search(const QString &directory, int depth)
{
    const Entry entry = tree.look(directory);
    const auto identity = qMakePair(entry.device, entry.inode);
    if (entry.kind != Entry::Directory || depth > depthLimit || visited.contains(identity))
        return;
    visited.insert(identity);
    tree.list(directory, [&](const QByteArray &name, Entry::Kind) {
        ++entries;
        visit(directory + QLatin1Char('/') + QString::fromUtf8(name), depth);
        return !isDone();
    });
}

void FontSearch::visit(const QString &path, int depth)
{
    const Entry entry = tree.look(path);
    if (entry.kind == Entry::Directory)
        search(path, depth + 1);
    else if (entry.kind == Entry::File)
        read(path);
}

void FontSearch::read(const QString &path)
{
    static constexpr const char *suffixes[] = {".ttf", ".otf", ".ttc", ".otc"};
    for (const char *suffix : suffixes) {
        if (!path.endsWith(QLatin1String(suffix), Qt::CaseInsensitive))
            continue;
        ++files;
        const QStringList families = fontFamilies(tree, path);
        for (const QString &family : families)
            missing.remove(family);
    }
}

} // namespace

void auditFonts(Tree &tree, Findings &findings)
{
    QSet<QString> families;
    for (const char *family : formFonts)
        families << QString::fromUtf8(family);
    FontSearch search(tree, families);
    for (const char *directory : fontDirectories)
        search.search(QString::fromLatin1(directory));
    const QString lacks = search.gaveUp()
        ? QStringLiteral("lacks, as far as so many files can be looked through, ")
        : QStringLiteral("lacks ");
    for (const char *family : formFonts) {
        const QString name = QString::fromUtf8(family);
        if (search.isMissing(name))
            findings.add(
                Kind::FontMissing, QString::fromLatin1(fontDirectories[0]),
                lacks + quoted(name) + QStringLiteral(", which the screens ask for"),
                QStringLiteral("another font instead, and texts that do not fit their buttons"));
    }
}
