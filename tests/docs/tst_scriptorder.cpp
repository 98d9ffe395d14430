#include "tests/docs/manual.h"
#include "tests/support/instrument.h"
#include "tests/update/model.h"
#include "tests/update/runupdate.h"
#include "update/stepcatalogue.h"

#include <QRegularExpression>
#include <QSet>
#include <QtTest>

/// The manual's table of the scripts by mode, against what an update of each mode runs.
class TestScriptOrder : public QObject
{
    Q_OBJECT

private slots:
    void init();
    void modesRunTheirMarkedScripts_data();
    void modesRunTheirMarkedScripts();
    void rejectedNetworkUpdate();
    void everyScriptIsNamed();
};

static const QString heading = QStringLiteral("Order");
static const QString mark = QStringLiteral("•");
static const QString directory = QStringLiteral("/etc/update/");

/// The head of the table, by the mode of UpdateThread that the column is about.
static const QMap<int, const char *> columns
    = {{0, "USB"}, {4, "USB, settings kept"}, {3, "network"}, {2, "blank board"}};

/// The scripts that an update of the mode runs.
static QStringList run(int mode)
{
    runUpdate(mode);
    return Instrument::calls().filter(QRegularExpression(QStringLiteral("^/etc/update/")));
}

/// The scripts that the column marks, from top to bottom.
static QStringList marked(const QString &column)
{
    const QVector<QStringList> rows = Manual::table(heading);
    const int index = rows.first().indexOf(column);
    QStringList scripts;
    for (const QStringList &row : rows.mid(1)) {
        if (row.value(index) == mark)
            scripts += directory + Manual::quoted(row.first()).first();
        else if (row.value(index) != QString())
            scripts += QStringLiteral("neither marked nor empty: ") + row.join(QLatin1Char('|'));
    }
    return scripts;
}

void TestScriptOrder::init()
{
    Instrument::clear();
    Instrument::writeUpdateScripts();
}

void TestScriptOrder::modesRunTheirMarkedScripts_data()
{
    QTest::addColumn<int>("mode");
    for (auto column = columns.begin(); column != columns.end(); ++column)
        QTest::newRow(column.value()) << column.key();
    QCOMPARE(Manual::table(heading).first().size(), columns.size() + 1);
}

void TestScriptOrder::modesRunTheirMarkedScripts()
{
    QFETCH(int, mode);
    const QStringList scripts = run(mode);
    QVERIFY(scripts.size() > 5);
    QCOMPARE(marked(QString::fromLatin1(columns[mode])), scripts);
}

// The line below the table that begins with the script of the clean-up names what follows.
void TestScriptOrder::rejectedNetworkUpdate()
{
    Instrument::writeScript(QString::fromLatin1(Model::filesScript), "touch /tmp/verifyFailed");
    const QStringList calls = run(3);
    const int rejected = calls.indexOf(QString::fromLatin1(Model::filesScript));
    const QStringList network = marked(QStringLiteral("network"));
    QCOMPARE(network.mid(0, rejected + 1), calls.mid(0, rejected + 1));

    const QString line = Manual::section(heading).section(
        QStringLiteral("\n`99-AUTUPD-failedCleanup.sh` runs after a rejected network update"), 1,
        1);
    const QStringList then
        = {QStringLiteral("99-AUTUPD-failedCleanup.sh"), Manual::quoted(line).value(0)};
    QCOMPARE(directory + then.at(0), calls.value(rejected + 1));
    QCOMPARE(directory + then.at(1), calls.value(rejected + 2));
    QCOMPARE(calls.size(), rejected + 3);
}

void TestScriptOrder::everyScriptIsNamed()
{
    QSet<QString> scripts = {QStringLiteral("00-USB-installoverrides.sh")};
    for (const StepRow &row : stepCatalogue)
        scripts += QString::fromLatin1(row.script).mid(directory.size());
    for (int mode : columns.keys()) {
        for (const QString &script : run(mode))
            scripts += script.mid(directory.size());
    }
    const QStringList named
        = Manual::quoted(Manual::section(heading)).filter(QStringLiteral(".sh"));
    QCOMPARE(QSet<QString>(named.begin(), named.end()), scripts);
}

QTEST_GUILESS_MAIN(TestScriptOrder)
#include "tst_scriptorder.moc"
