#include "app/updatesource.h"
#include "audit/audit.h"
#include "tests/audit/instrumenttree.h"

#include <QDir>
#include <QFileInfo>
#include <QtTest>

#include <functional>

#include <sys/stat.h>
#include <unistd.h>

// What is on a storage device.

namespace {

class Stick
{
public:
    QString real(const QString &path) const { return directory.filePath(path); }
    void makeDirectory(const QString &path) const { QDir().mkpath(real(path)); }
    void write(const QString &path) const
    {
        makeDirectory(QFileInfo(path).path());
        QFile file(real(path));
        if (!file.open(QIODevice::WriteOnly))
            qFatal("%s could not be written", qPrintable(path));
    }
    void makeLink(const QString &path, const char *target) const
    {
        makeDirectory(QFileInfo(path).path());
        if (symlink(target, qPrintable(real(path))) != 0)
            qFatal("%s is no link", qPrintable(path));
    }
    void makePipe(const QString &path) const
    {
        makeDirectory(QFileInfo(path).path());
        if (mkfifo(qPrintable(real(path)), 0644) != 0)
            qFatal("%s is no pipe", qPrintable(path));
    }

    QStringList findings() const
    {
        Findings findings;
        QString reason;
        auto tree = Tree::open(directory.path(), Tree::MustNotLeave, reason);
        if (!tree)
            qFatal("%s", qPrintable(reason));
        auditStick(*tree, findings);
        QStringList texts;
        for (const Finding &finding : findings.all())
            texts << QString::fromLatin1(rowOf(finding.kind).name) + QLatin1Char(' ') + finding.path
                    + QLatin1Char(' ') + finding.problem;
        return texts;
    }

private:
    QTemporaryDir directory;
};

using Filling = std::function<void(const Stick &)>;

void row(const char *name, const Filling &filling, const char *findings)
{
    QTest::newRow(name) << filling << QString::fromLatin1(findings);
}

const auto update = QStringLiteral("update");
const auto overrides = QStringLiteral("update/OVERRIDE");

QString in(const char *name) { return overrides + QLatin1Char('/') + QString::fromLatin1(name); }

constexpr char ignored[] = "overrides-ignored update/OVERRIDE holds links, directories or hidden "
                           "files only, which do not count";

} // namespace

Q_DECLARE_METATYPE(Filling)

class TestAuditStick : public QObject
{
    Q_OBJECT

private slots:
    void findings_data()
    {
        QTest::addColumn<Filling>("filling");
        QTest::addColumn<QString>("findings");
        row(
            "update", [](const Stick &stick) { stick.makeDirectory(update); }, "");
        row(
            "nothing", [](const Stick &) {}, "stick-without-update update does not exist");
        row(
            "another case",
            [](const Stick &stick) { stick.makeDirectory(QStringLiteral("Update")); },
            "stick-without-update update does not exist (there is Update)");
        row(
            "a file", [](const Stick &stick) { stick.write(update); },
            "stick-update-not-a-directory update is an ordinary file");
        row(
            "a link out of the stick", [](const Stick &stick) { stick.makeLink(update, "/opt"); },
            "stick-without-update update leads out of the storage device");
        row(
            "a link on the stick",
            [](const Stick &stick) {
                stick.makeDirectory(QStringLiteral("4.07"));
                stick.makeLink(update, "4.07");
            },
            "");
        row(
            "overrides", [](const Stick &stick) { stick.write(in("Size10")); }, "");
        row(
            "overrides a file", [](const Stick &stick) { stick.write(overrides); },
            "overrides-not-a-directory update/OVERRIDE is an ordinary file");
        row(
            "overrides a link out of the stick",
            [](const Stick &stick) { stick.makeLink(overrides, "/opt"); },
            "overrides-not-a-directory update/OVERRIDE leads out of the storage device");
        row(
            "overrides empty", [](const Stick &stick) { stick.makeDirectory(overrides); },
            "overrides-empty update/OVERRIDE is empty");
        row(
            "overrides links",
            [](const Stick &stick) {
                stick.write(QStringLiteral("update/Size10"));
                stick.makeLink(in("Size10"), "../Size10");
            },
            ignored);
        row(
            "overrides directories", [](const Stick &stick) { stick.write(in("size/Size10")); },
            ignored);
        row(
            "overrides hidden", [](const Stick &stick) { stick.write(in(".Size10")); }, ignored);
        row(
            "overrides a pipe", [](const Stick &stick) { stick.makePipe(in("Size10")); }, ignored);
        row(
            "one override among links",
            [](const Stick &stick) {
                stick.makeLink(in("a"), "b");
                stick.write(in("Size10"));
                stick.makeDirectory(in("z"));
            },
            "");
    }

    void findings()
    {
        QFETCH(Filling, filling);
        QFETCH(QString, findings);
        Stick stick;
        filling(stick);
        QCOMPARE(stick.findings().join(QLatin1Char('|')), findings);
    }

    void countsAsTheProgramDoes_data() { findings_data(); }

    void countsAsTheProgramDoes()
    {
        QFETCH(Filling, filling);
        QFETCH(QString, findings);
        Stick stick;
        filling(stick);
        const bool leadsOut = findings.contains(QLatin1String("leads out"));
        QDir directory(stick.real(overrides));
        directory.setFilter(overrideFilter);
        if (!leadsOut && directory.exists())
            QCOMPARE(directory.count() > 0, findings.isEmpty());
    }
};

QTEST_GUILESS_MAIN(TestAuditStick)
#include "tst_auditstick.moc"
