#include "tests/support/instrument.h"
#include "tests/versions/versionscreen.h"

#include <QtTest>

/// What the version table shows for every kind of manifest.
class TestVersionTable : public QObject
{
    Q_OBJECT

private slots:
    void init();
    void threeVersions();
    void columnsFitTheirContents();
    void contents_data();
    void contents();
    void dates_data();
    void dates();
    void rowWithoutManifest();
    void longLines();
};

void TestVersionTable::init()
{
    Instrument::clear();
    installThreeVersions();
}

void TestVersionTable::threeVersions()
{
    for (const char *caller : {"MainWindow", "Dialog"}) {
        const VersionScreen screen(QString::fromLatin1(caller));
        QCOMPARE(screen.rowText(0),
                 QStringLiteral("1|4.05\nbn:118|12 May 2023\n09:30:00|"
                                "04 Apr 2023|V4.05.00"));
        QCOMPARE(screen.rowText(1),
                 QStringLiteral("2|4.06\nbn:175|02 Oct 2023\n14:05:30|"
                                "19 Sep 2023|V4.06.00"));
        QCOMPARE(screen.rowText(2),
                 QStringLiteral("3|4.04\nbn:96|01 Dec 2022\n16:45:10|"
                                "07 Nov 2022|V4.04.00"));
        const char *const partitions[] = {"1", "7", "8"};
        for (int row = 0; row < 3; ++row) {
            QCOMPARE(screen.table()->item(row, 5)->text(), QString::fromLatin1(partitions[row]));
            QCOMPARE(screen.table()->rowHeight(row), 80);
            for (int column = 0; column < 5; ++column)
                QCOMPARE(screen.table()->item(row, column)->textAlignment(),
                         int(Qt::AlignHCenter | Qt::AlignVCenter));
        }
    }
}

void TestVersionTable::columnsFitTheirContents()
{
    writeManifest("1", "core_version=a longer version than any other\n");
    const VersionScreen screen;
    QVector<int> widths;
    for (int column = 0; column < 6; ++column)
        widths += screen.table()->columnWidth(column);
    screen.table()->resizeColumnsToContents();
    for (int column = 0; column < 6; ++column)
        QCOMPARE(screen.table()->columnWidth(column), widths.at(column));
    QVERIFY(widths.at(1) > widths.at(2));
}

void TestVersionTable::contents_data()
{
    QTest::addColumn<QByteArray>("manifest");
    QTest::addColumn<QString>("row");
    const auto row = [](const char *name, const QByteArray &manifest, const char *text) {
        QTest::newRow(name) << manifest << QString::fromUtf8(text);
    };
    row("empty", "", "1|\nbn:|||");
    row("no usable line", "# nothing\n\n", "1|\nbn:|||");
    row("version only", "core_version=4.05\n", "1|4.05\nbn:|||");
    row("build only", "core_build=118\n", "1|\nbn:118|||");
    row("build before version", "core_build=118\ncore_version=4.05\n", "1|4.05\nbn:118|||");
    row("bootloader only", "image_bootloader_version=V4.05.00", "1|\nbn:|||V4.05.00");
    row("blanks around", "core_version = 2.1\ncore_build=1\n", "1|\nbn:1|||");
    row("own part and empty", "part=7\nempty=1\ncore_version=4.05\n", "1|4.05\nbn:|||");
    row("blanks kept", "core_version= 4.05 \ncore_build= 1\n", "1| 4.05 \nbn: 1|||");
    row("equals in the value", "core_build=a=b\n", "1|\nbn:a=b|||");
    row("key of another partition", "7core_version=9\n", "1|\nbn:|||");
    row("CRLF",
        "core_version=4.05\r\ncore_build=118\r\ncore_build_date=20230404\r\n"
        "install_date_time=20230512 09:30:00\r\nimage_bootloader_version=V4.05.00\r\n",
        "1|4.05\r\nbn:118\r|||V4.05.00\r");
    row("invalid UTF-8", "core_version=4\xFF\n", "1|4\xEF\xBF\xBD\nbn:|||");
    row("markup", "core_version=<b>4</b>\n", "1|<b>4</b>\nbn:|||");
    row("other words", "core_version=\xE5\x9B\x9B\n", "1|\xE5\x9B\x9B\nbn:|||");
    row("NUL", QByteArray("core_build\0=1\n\0\0\0\n", 18), "1|\nbn:|||");
}

void TestVersionTable::contents()
{
    QFETCH(QByteArray, manifest);
    writeManifest("1", manifest);
    const VersionScreen screen;
    QTEST(screen.rowText(0), "row");
    QVERIFY(screen.rowText(1).startsWith(QLatin1String("2|4.06\nbn:175|")));
}

void TestVersionTable::dates_data()
{
    QTest::addColumn<QString>("value");
    QTest::addColumn<QString>("shown");
    const auto row = [](const char *value, const char *shown) {
        QTest::newRow(value) << QString::fromLatin1(value) << QString::fromLatin1(shown);
    };
    row("20240131 08:15:00", "31 Jan 2024\n08:15:00");
    row("20231231 23:59:59", "31 Dec 2023\n23:59:59");
    row("20240131", "31 Jan 2024");
    row("20240229", "29 Feb 2024");
    row("20230229", "");
    row("20241301", "");
    row("20240100", "");
    row("2024013", "");
    row("202401311", ""); // nine characters are read as a date alone
    row("20240131 ", "");
    row(" 20240131", "");
    row("20240131 0", ""); // ten as a date with a time
    row("2024-01-31", "");
    row("2024-01-31 08:15:00", "");
    row("20240131 08:15", "");
    row("20240131 25:00:00", "");
    row("20240131 08:15:60", "");
    row("20240131 08:15:00 ", "");
    row("20240131T08:15:00", "");
    row("20240131  08:15:00", "");
    row("", "");
    row("soon", "");
    row("20240131\r", "");
}

void TestVersionTable::dates()
{
    QFETCH(QString, value);
    QFETCH(QString, shown);
    writeManifest(
        "1", "install_date_time=" + value.toUtf8() + "\ncore_build_date=" + value.toUtf8() + '\n');
    const VersionScreen screen;
    QCOMPARE(screen.rowText(0), QStringLiteral("1|\nbn:|%1|%1|").arg(shown));
}

void TestVersionTable::rowWithoutManifest()
{
    removeManifest("8");
    for (const char *caller : {"MainWindow", "Dialog"}) {
        const VersionScreen screen(QString::fromLatin1(caller));
        QCOMPARE(screen.rowText(2), QStringLiteral("3|N/A|-|-|-"));
        QCOMPARE(screen.table()->rowHeight(2), 80);
        QCOMPARE(screen.table()->item(2, 5)->text(), QStringLiteral("8"));
        for (int column : {0, 1}) {
            QCOMPARE(screen.table()->item(2, column)->flags(), Qt::NoItemFlags);
            QCOMPARE(screen.table()->item(2, column)->textAlignment(), int(Qt::AlignCenter));
        }
        QVERIFY(screen.table()->item(2, 5)->flags() != Qt::NoItemFlags);
        QVERIFY(screen.table()->item(0, 0)->flags() != Qt::NoItemFlags);
    }
}

void TestVersionTable::longLines()
{
    const QByteArray megabyte(1 << 20, 'x');
    writeManifest("1", megabyte + "=1\ncore_version=4.05\n");
    writeManifest("7", "install_date_time=" + megabyte + "\ncore_build_date=" + megabyte + '\n');
    writeManifest("8", QByteArray("\x01\xFE\x80\0=", 5).repeated(1 << 18));
    const VersionScreen screen;
    QCOMPARE(screen.rowText(0), QStringLiteral("1|4.05\nbn:|||"));
    QCOMPARE(screen.rowText(1), QStringLiteral("2|\nbn:|||"));
    QCOMPARE(screen.rowText(2), QStringLiteral("3|\nbn:|||"));
}

QTEST_MAIN(TestVersionTable)
#include "tst_versiontable.moc"
