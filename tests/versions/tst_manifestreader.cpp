#include "tests/support/instrument.h"

#include "versions/manifestreader.h"

#include <QDir>
#include <QtTest>

/// What the manifests of the version partitions come to, without a screen.
class TestManifestReader : public QObject
{
    Q_OBJECT

private slots:
    void init() { Instrument::clear(); }
    void tables();
    void nothingInstalled();
    void lines_data();
    void lines();
    void ownEntriesWin();
    void everyPartitionHasItsOwn();
    void fileNames();
    void nullDeviceIsAnEmptyManifest();
    void unreadable_data();
    void unreadable();
    void absentKeysAreInserted();
    void longManifests();
};

using Lines = QMap<QByteArray, QByteArray>;

static QString manifestPath(const char *partition)
{
    return QStringLiteral("/mnt/recovery/update_files/%1manifest.txt")
        .arg(QString::fromLatin1(partition));
}

static Lines readAll()
{
    const VersionInfo info = readVersionManifests();
    return Lines(info);
}

static const Lines noneInstalled = {
    {"1empty", "1"}, {"1part", "1"},  {"7empty", "1"},
    {"7part", "2"},  {"8empty", "1"}, {"8part", "3"},
};

void TestManifestReader::tables()
{
    QCOMPARE(partitionIds, QByteArrayList({"1", "7", "8"}));
    QCOMPARE(manifestColumnKeys,
             QByteArrayList({"part:0", "core_version:1", "core_build:1", "install_date_time:2",
                             "core_build_date:3", "image_bootloader_version:4"}));
}

void TestManifestReader::nothingInstalled()
{
    QCOMPARE(readAll(), noneInstalled);
    Instrument::shell("rm -r /mnt/recovery/update_files");
    QCOMPARE(readAll(), noneInstalled);
}

void TestManifestReader::lines_data()
{
    QTest::addColumn<QByteArray>("manifest");
    QTest::addColumn<Lines>("entries"); // without the partition
    const auto row = [](const char *name, const QByteArray &manifest, const Lines &entries = {}) {
        QTest::newRow(name) << manifest << entries;
    };
    row("nothing", "");
    row("one", "core_version=4.05\n", {{"core_version", "4.05"}});
    row("no line end", "core_version=4.05", {{"core_version", "4.05"}});
    row("empty lines", "\n\na=1\n\n\nb=2\n\n", {{"a", "1"}, {"b", "2"}});
    row("empty value", "a=\n", {{"a", ""}});
    row("more equals signs", "core_build=a=b\nc===\n", {{"core_build", "a=b"}, {"c", "=="}});
    row("no equals sign", "core_version 4.05\ncore_build\n");
    row("only equals signs", "=\n==\n=value\n");
    row("blanks around", "core_version = 2.1\n", {{"core_version ", " 2.1"}});
    row("blanks at the end", "a=1  \n", {{"a", "1  "}});
    row("indented", " core_build=7\n\tcore_build=8\n");
    row("comment", "#core_build=7\n;b=1\n//c=2\n-d=3\n.e=4\n\"f\"=5\n");
    row("word characters", "_a=1\n9=2\nZ=3\nz-*.!=4\n",
        {{"_a", "1"}, {"9", "2"}, {"Z", "3"}, {"z-*.!", "4"}});
    // a mark by itself, which letters are put together with
    row("marks", "\xCC\x81x=1\n\xE2\x83\x9D=2\n", {{"\xCC\x81x", "1"}, {"\xE2\x83\x9D", "2"}});
    row("other letters", "\xC3\xA9=1\n\xC3\x9Fx=2\n\xD9\xA3=3\n\xE2\x82\xAC=4\n",
        {{"\xC3\xA9", "1"}, {"\xC3\x9Fx", "2"}, {"\xD9\xA3", "3"}}); // the euro is no word
    row("repeated key", "a=1\na=2\nb=3\na=4\nb=\n", {{"a", "4"}, {"b", ""}});
    row("repeated, last one ignored", "a=1\n a=2\na 3\n", {{"a", "1"}});
    row("capitals", "a=1\nA=2\n", {{"a", "1"}, {"A", "2"}});
    row("carriage returns", "a=1\r\n\r\nb=20230404\r\n", {{"a", "1\r"}, {"b", "20230404\r"}});
    row("lone carriage returns", "a=1\rb=2\r", {{"a", "1\rb=2\r"}});
    row("NUL", QByteArray("a=1\0002\nb\0=3\n\0c=4\n", 16),
        {{"a", QByteArray("1\0002", 3)}, {QByteArray("b\0", 2), "3"}});
    row("invalid UTF-8",
        "a=1\xFF"
        "2\nb\xC3=3\n\xFFx=4\n",
        {{"a",
          "1\xEF\xBF\xBD"
          "2"},
         {"b\xEF\xBF\xBD", "3"}});
    row("hostile keys", "7core_version=9\nempty1=x\n../../etc=1\nempty =0\n$(reboot)=1\n",
        {{"7core_version", "9"}, {"empty1", "x"}, {"empty ", "0"}});
}

void TestManifestReader::lines()
{
    QFETCH(QByteArray, manifest);
    QFETCH(Lines, entries);
    for (const QByteArray &partition : {QByteArray("1"), QByteArray("7"), QByteArray("8")}) {
        Instrument::clear();
        Instrument::write(manifestPath(partition.constData()), manifest);
        Lines expected = noneInstalled;
        expected[partition + "empty"] = "0";
        for (auto entry = entries.begin(); entry != entries.end(); ++entry)
            expected[partition + entry.key()] = entry.value();
        QCOMPARE(readAll(), expected);
    }
}

void TestManifestReader::ownEntriesWin()
{
    Instrument::write(manifestPath("7"), "empty=1\npart=9\n");
    Lines expected = noneInstalled;
    expected["7empty"] = "0";
    QCOMPARE(readAll(), expected);
}

void TestManifestReader::everyPartitionHasItsOwn()
{
    Instrument::write(manifestPath("1"), "core_version=4.05\n");
    Instrument::write(manifestPath("7"), "core_version=4.06\ncore_build=175\n");
    Instrument::write(manifestPath("8"), "core_version=4.04\n");
    QCOMPARE(readAll(),
             Lines({{"1empty", "0"},
                    {"1part", "1"},
                    {"1core_version", "4.05"},
                    {"7empty", "0"},
                    {"7part", "2"},
                    {"7core_version", "4.06"},
                    {"7core_build", "175"},
                    {"8empty", "0"},
                    {"8part", "3"},
                    {"8core_version", "4.04"}}));
}

// Nothing stands between the partition and "manifest.txt".
void TestManifestReader::fileNames()
{
    for (const char *name : {"1/manifest.txt", "1_manifest.txt", "manifest.txt", "2manifest.txt",
                             "1Manifest.txt", "17manifest.txt"})
        Instrument::write(QStringLiteral("/mnt/recovery/update_files/") + QString::fromLatin1(name),
                          "core_version=4.05\n");
    QCOMPARE(readAll(), noneInstalled);
}

void TestManifestReader::nullDeviceIsAnEmptyManifest()
{
    Instrument::shell("ln -s /dev/null /mnt/recovery/update_files/7manifest.txt");
    Lines expected = noneInstalled;
    expected["7empty"] = "0";
    QCOMPARE(readAll(), expected);
}

void TestManifestReader::unreadable_data()
{
    QTest::addColumn<QByteArray>("command");
    QTest::newRow("directory") << QByteArray("mkdir $M");
    QTest::newRow("no permission") << QByteArray("echo a=1 >$M; chmod 0 $M");
    QTest::newRow("dangling link") << QByteArray("ln -s nowhere $M");
    QTest::newRow("link to itself") << QByteArray("ln -s 7manifest.txt $M");
    QTest::newRow("pipe") << QByteArray("mkfifo $M");
    QTest::newRow("endless device") << QByteArray("ln -s /dev/zero $M");
}

void TestManifestReader::unreadable()
{
    QFETCH(QByteArray, command);
    Instrument::shell("M=/mnt/recovery/update_files/7manifest.txt; " + command);
    Instrument::write(manifestPath("8"), "core_version=4.04\n");
    Lines expected = noneInstalled;
    expected["8empty"] = "0";
    expected["8core_version"] = "4.04";
    QCOMPARE(readAll(), expected);
}

void TestManifestReader::absentKeysAreInserted()
{
    VersionInfo info = readVersionManifests();
    QCOMPARE(info["1core_version"], QByteArray(""));
    QCOMPARE(info.size(), std::size_t(7));
}

void TestManifestReader::longManifests()
{
    const QByteArray megabyte(1 << 20, 'x');
    Instrument::write(manifestPath("1"), "a=" + megabyte + "\nb=1\n");
    Instrument::write(manifestPath("7"), megabyte + "=2\n" + megabyte + "\n#" + megabyte + "=3\n");
    Instrument::write(manifestPath("8"),
                      QByteArray("\x01\x80\xFE\0=\n", 6).repeated(200000) + "c=4");
    Lines expected = noneInstalled;
    expected["1empty"] = expected["7empty"] = expected["8empty"] = "0";
    expected["1a"] = megabyte;
    expected["1b"] = "1";
    expected["7" + megabyte] = "2";
    expected["8c"] = "4";
    QVERIFY(readAll() == expected); // not to be printed
}

QTEST_GUILESS_MAIN(TestManifestReader)
#include "tst_manifestreader.moc"
