#include "tests/support/instrument.h"
#include "tests/support/modaldialogs.h"
#include "tests/versions/versionscreen.h"

#include <QtTest>

/// Which row is marked for every kind of active-partition file, and how.
class TestActivePartition : public QObject
{
    Q_OBJECT

private slots:
    void init();
    void activeRow_data();
    void activeRow();
    void activeRowWithoutManifest();
    void activeFile_data();
    void activeFile();
    void nullDeviceIsAnEmptyFile();
    void activeFileThatCannotBeRead_data();
    void activeFileThatCannotBeRead();
};

static const QStringList error
    = {QStringLiteral("Critical: Error: Could not open file: OK: in ChangeVersionPartition")};

void TestActivePartition::init()
{
    Instrument::clear();
    installThreeVersions();
}

void TestActivePartition::activeRow_data()
{
    QTest::addColumn<QByteArray>("partition");
    QTest::addColumn<int>("active");
    QTest::newRow("1") << QByteArray("1") << 0;
    QTest::newRow("7") << QByteArray("7") << 1;
    QTest::newRow("8") << QByteArray("8") << 2;
}

void TestActivePartition::activeRow()
{
    QFETCH(QByteArray, partition);
    QFETCH(int, active);
    Instrument::write(activePartitionFile, partition);
    for (const char *caller : {"MainWindow", "Dialog"}) {
        const VersionScreen screen(QString::fromLatin1(caller));
        const QTableWidgetItem plain;
        for (int row = 0; row < 3; ++row) {
            for (int column = 0; column < 6; ++column) {
                const QTableWidgetItem *item = screen.table()->item(row, column);
                QCOMPARE(item->background(), row == active ? QBrush(Qt::gray) : QBrush());
                QCOMPARE(item->foreground(), row == active ? QBrush(Qt::black) : QBrush());
                QCOMPARE(item->flags(), row == active ? Qt::NoItemFlags : plain.flags());
            }
        }
        QCOMPARE(screen.table()->currentRow(), active); // the selected one, if it could show it
        QVERIFY(!screen.changeButton()->isEnabled() || !screen.changeButton()->isVisible());
    }
}

void TestActivePartition::activeRowWithoutManifest()
{
    removeManifest("7");
    const VersionScreen screen;
    QCOMPARE(screen.rowText(1), QStringLiteral("2|N/A|-|-|-"));
    for (int column : {0, 1, 5}) {
        QCOMPARE(screen.table()->item(1, column)->background(), QBrush(Qt::gray));
        QCOMPARE(screen.table()->item(1, column)->foreground(), QBrush(Qt::black));
        QCOMPARE(screen.table()->item(1, column)->flags(), Qt::NoItemFlags);
    }
}

static int greyRow(const VersionScreen &screen)
{
    int grey = -1;
    for (int row = 0; row < 3; ++row) {
        if (screen.table()->item(row, 0)->background() == QBrush(Qt::gray))
            grey = grey < 0 ? row : 99; // never two
    }
    return grey;
}

void TestActivePartition::activeFile_data()
{
    QTest::addColumn<QByteArray>("content");
    QTest::addColumn<int>("active");
    const auto row = [](const char *name, const QByteArray &content, int active) {
        QTest::newRow(name) << content << active;
    };
    row("7", "7", 1);
    row("7 and line end", "7\n", 1);
    row("7 and CRLF", "7\r\n", 1);
    row("more lines", "8\n7\n1\n", 2);
    row("7 and blank", "7 ", -1);
    row("7, blank and line end", "7 \n", -1);
    row("7 and many blanks", "7" + QByteArray(60, ' '), -1);
    row("blank and 7", " 7\n", -1);
    row("7 and tab", "7\t\n", -1);
    row("empty", "", -1);
    row("empty first line", "\n7\n", -1);
    row("another number", "2\n", -1);
    row("77", "77\n", -1);
    row("07", "07\n", -1);
    row("7 and NUL", QByteArray("7\0", 2), -1);
    row("byte order mark",
        "\xEF\xBB\xBF"
        "7\n",
        1); // the text reader drops it
    row("fullwidth 7", "\xEF\xBC\x97\n", -1);
    row("text", "part 7\n", -1);
    row("binary", QByteArray("\xFF\xFE\x80\0\x01\n7\n", 8), -1);
    row("10 MB without line end", QByteArray(10 << 20, '7'), -1);
    row("10 MB after the line", "7\n" + QByteArray(10 << 20, '8'), 1);
}

void TestActivePartition::activeFile()
{
    QFETCH(QByteArray, content);
    Instrument::write(activePartitionFile, content);
    const VersionScreen screen;
    QTEST(greyRow(screen), "active");
}

void TestActivePartition::nullDeviceIsAnEmptyFile()
{
    Instrument::shell("ln -sf /dev/null /mnt/recovery/download/partition_c");
    ModalDialogs boxes;
    const VersionScreen screen;
    QCOMPARE(boxes.take(), QStringList());
    QCOMPARE(greyRow(screen), -1);
}

void TestActivePartition::activeFileThatCannotBeRead_data()
{
    QTest::addColumn<QByteArray>("command");
    QTest::newRow("missing") << QByteArray("rm $F");
    QTest::newRow("directory missing") << QByteArray("rm -r /mnt/recovery/download");
    QTest::newRow("directory") << QByteArray("rm $F; mkdir $F");
    QTest::newRow("no permission") << QByteArray("chmod 0 $F");
    QTest::newRow("pipe") << QByteArray("rm $F; mkfifo $F");
    QTest::newRow("endless device") << QByteArray("ln -sf /dev/zero $F");
    QTest::newRow("dangling link") << QByteArray("ln -sf nowhere $F");
}

void TestActivePartition::activeFileThatCannotBeRead()
{
    QFETCH(QByteArray, command);
    Instrument::shell("F=/mnt/recovery/download/partition_c; " + command);
    for (const char *caller : {"MainWindow", "Dialog"}) {
        ModalDialogs boxes;
        const VersionScreen screen(QString::fromLatin1(caller));
        QCOMPARE(boxes.take(), error);
        QCOMPARE(greyRow(screen), -1);
        QVERIFY(screen.rowText(0).startsWith(QLatin1String("1|4.05\nbn:118|")));
        QVERIFY(screen.rowText(2).startsWith(QLatin1String("3|4.04\nbn:96|")));
    }
}

QTEST_MAIN(TestActivePartition)
#include "tst_activepartition.moc"
