#include "audit/tree.h"
#include "tests/audit/instrumenttree.h"

#include <QtTest>

#include <map>

#include <fcntl.h>

#include <sys/stat.h>

// How a tree is looked at, whatever is in it.

namespace {

Tree opened(const InstrumentTree &instrument, Tree::Links links = Tree::StayInside)
{
    QString reason;
    auto tree = Tree::open(instrument.top(), links, reason);
    if (!tree)
        qFatal("%s", qPrintable(reason));
    return std::move(*tree);
}

struct LookRow
{
    const char *name;
    const char *path;
    Entry::Kind kind;
    const char *what;
};

constexpr LookRow lookRows[] = {
    {"file", "/var/log/messages", Entry::File, "is an ordinary file"},
    {"directory", "/var/log", Entry::Directory, "is a directory"},
    {"the top", "/", Entry::Directory, "is a directory"},
    {"above the top", "/../..", Entry::Directory, "is a directory"},
    {"nothing", "/var/log/nothing", Entry::Missing, "does not exist"},
    {"below a file", "/var/log/messages/below", Entry::Missing, "does not exist"},
    {"pipe", "/pipe", Entry::Special, "is a pipe"},
    {"absolute link", "/links/absolute", Entry::File, "is an ordinary file"},
    {"relative link", "/links/relative", Entry::File, "is an ordinary file"},
    {"link that climbs out and comes down", "/links/climbing", Entry::File, "is an ordinary file"},
    {"link to what is only outside", "/links/outside", Entry::Missing,
     "is a link that leads nowhere"},
    {"link into a circle", "/links/circle", Entry::Missing, "is a link that leads in a circle"},
    {"link to itself", "/links/self", Entry::Missing, "is a link that leads in a circle"},
    {"below a circle", "/links/circle/below", Entry::Missing, "does not exist"},
    {"process's own link", "/links/magic", Entry::Missing, "is a link that leads nowhere"},
};

void makeLinks(InstrumentTree &instrument)
{
    instrument.makePipe(QStringLiteral("/pipe"));
    instrument.makeLink(QStringLiteral("/links/absolute"), "/var/log/messages");
    instrument.makeLink(QStringLiteral("/links/relative"), "../var/log/messages");
    instrument.makeLink(QStringLiteral("/links/climbing"), "../../../../../../var/log/messages");
    instrument.makeLink(QStringLiteral("/links/outside"), "/opt/source/check");
    instrument.makeLink(QStringLiteral("/links/circle"), "/links/back");
    instrument.makeLink(QStringLiteral("/links/back"), "circle");
    instrument.makeLink(QStringLiteral("/links/self"), "self");
    instrument.makeLink(QStringLiteral("/links/magic"), "/proc/self/exe");
}

} // namespace

class TestAuditTree : public QObject
{
    Q_OBJECT

private slots:
    void looks_data()
    {
        QTest::addColumn<QString>("path");
        QTest::addColumn<int>("kind");
        QTest::addColumn<QString>("what");
        for (const LookRow &row : lookRows)
            QTest::newRow(row.name)
                << QString::fromLatin1(row.path) << int(row.kind) << QString::fromLatin1(row.what);
    }

    void looks()
    {
        QFETCH(QString, path);
        QFETCH(int, kind);
        QFETCH(QString, what);
        InstrumentTree instrument;
        makeLinks(instrument);
        Tree tree = opened(instrument);
        const Entry entry = tree.look(path);
        QCOMPARE(int(entry.kind), kind);
        QCOMPARE(entry.what, what);
        QVERIFY(tree.unseen().empty());
    }

    void kernelsOwnLinksAreNotFollowed()
    {
        QString reason;
        auto tree = Tree::open(QStringLiteral("/"), Tree::StayInside, reason);
        QVERIFY(tree);
        QCOMPARE(int(tree->look(QStringLiteral("/proc/self/exe")).kind), int(Entry::Missing));
        QVERIFY(QFile::exists(QStringLiteral("/proc/self/exe")));
    }

    void linksOfAStorageDeviceStayOnIt()
    {
        InstrumentTree instrument;
        makeLinks(instrument);
        Tree tree = opened(instrument, Tree::MustNotLeave);
        QCOMPARE(int(tree.look(QStringLiteral("links/relative")).kind), int(Entry::File));
        for (const char *link : {"links/absolute", "links/climbing"}) {
            const Entry entry = tree.look(QString::fromLatin1(link));
            QCOMPARE(int(entry.kind), int(Entry::Missing));
            QCOMPARE(entry.what, QStringLiteral("leads out of the storage device"));
            QVERIFY(entry.isLink);
        }
    }

    void nothingButFilesIsRead()
    {
        InstrumentTree instrument;
        makeLinks(instrument);
        Tree tree = opened(instrument);
        QCOMPARE(tree.read(QStringLiteral("/links/absolute"), 100), QByteArray("one\n"));
        QCOMPARE(tree.read(QStringLiteral("/var/log/messages"), 2, 1), QByteArray("ne"));
        QCOMPARE(tree.read(QStringLiteral("/var/log/messages"), 2, 9), QByteArray());
        for (const char *path : {"/pipe", "/var/log", "/nothing", "/links/outside"})
            QVERIFY2(!tree.read(QString::fromLatin1(path), 100), path);
        QVERIFY(tree.unseen().empty());
    }

    void namesNoFileCanHave()
    {
        InstrumentTree instrument;
        Tree tree = opened(instrument);
        const QString cut = QStringLiteral("/var/log/messages") + QChar(0) + QStringLiteral("x");
        QCOMPARE(int(tree.look(cut).kind), int(Entry::Missing));
        const QString longName = QLatin1Char('/') + QString(5000, QLatin1Char('x'));
        QCOMPARE(int(tree.look(longName).kind), int(Entry::Missing));
        QVERIFY(tree.unseen().empty());
    }

    void forbiddenPlacesAreNoted()
    {
        InstrumentTree instrument;
        instrument.setMode(QStringLiteral("/var/log/messages"), 0);
        instrument.setMode(QStringLiteral("/mnt/recovery"), 0);
        Tree tree = opened(instrument);
        QCOMPARE(int(tree.look(QStringLiteral("/var/log/messages")).kind), int(Entry::File));
        QVERIFY(!tree.read(QStringLiteral("/var/log/messages"), 10));
        QCOMPARE(int(tree.look(QStringLiteral("/mnt/recovery/logFiles.txt")).kind),
                 int(Entry::Unknown));
        tree.list(QStringLiteral("/mnt/recovery"),
                  [](const QByteArray &, Entry::Kind) { return true; });
        QCOMPARE(tree.unseen().size(), std::size_t(3));
        QCOMPARE(tree.unseen().begin()->second, QStringLiteral("Permission denied"));
        instrument.setMode(QStringLiteral("/mnt/recovery"), 0755);
    }

    void listsWithoutFollowing()
    {
        InstrumentTree instrument;
        makeLinks(instrument);
        instrument.makePipe(QStringLiteral("/links/pipe"));
        instrument.makeDirectory(QStringLiteral("/links/directory"));
        instrument.write(QStringLiteral("/links/file"), "");
        Tree tree = opened(instrument);
        std::map<QByteArray, Entry::Kind> kinds;
        tree.list(QStringLiteral("/links"), [&](const QByteArray &name, Entry::Kind kind) {
            kinds[name] = kind;
            return true;
        });
        QCOMPARE(kinds.size(), std::size_t(11));
        QCOMPARE(int(kinds["file"]), int(Entry::File));
        QCOMPARE(int(kinds["directory"]), int(Entry::Directory));
        QCOMPARE(int(kinds["pipe"]), int(Entry::Special));
        QCOMPARE(int(kinds["absolute"]), int(Entry::Missing));

        int visited = 0;
        tree.list(QStringLiteral("/links"), [&](const QByteArray &, Entry::Kind) {
            ++visited;
            return false;
        });
        QCOMPARE(visited, 1);
    }

    void noDirectoryNoTree()
    {
        const InstrumentTree instrument;
        QString reason;
        for (const char *path : {"/nothing", "/var/log/messages"}) {
            reason.clear();
            QVERIFY(
                !Tree::open(instrument.real(QString::fromLatin1(path)), Tree::StayInside, reason));
            QVERIFY(!reason.isEmpty());
        }
    }

    void readingLeavesNoTrace()
    {
        InstrumentTree instrument;
        const QByteArray path
            = QFile::encodeName(instrument.real(QStringLiteral("/var/log/messages")));
        const timespec times[2] = {{1000, 0}, {2000, 0}}; // read before it was written
        QCOMPARE(utimensat(AT_FDCWD, path.constData(), times, 0), 0);
        Tree tree = opened(instrument);
        QCOMPARE(tree.read(QStringLiteral("/var/log/messages"), 100), QByteArray("one\n"));
        struct stat state = {};
        QCOMPARE(stat(path.constData(), &state), 0);
        QCOMPARE(state.st_atim.tv_sec, time_t(1000));
    }
};

QTEST_GUILESS_MAIN(TestAuditTree)
#include "tst_audittree.moc"
