#include "tests/support/instrument.h"
#include "tests/update/model.h"
#include "tests/update/runupdate.h"

#include <QtTest>

// What an update leaves on the storage when one of its scripts ends half-way.

static const QString stick = QStringLiteral("/media/usb0/update/");
static const QString storage = QStringLiteral("/mnt/recovery/slots/");

/// What becomes of the script that has written 1000 bytes of its payload, and of those after it.
struct Mishap
{
    const char *name;
    const char *body;
    bool othersGoOn;
    int code; ///< What the script ends with.
};

static const Mishap mishaps[] = {
    {"stick pulled", "rm -r /media/usb0/update; rmdir /sys/class/block/sda; exit 1", false, 1},
    {"killed", "kill -KILL $$", true, 9},
};

static const char copies[] = "cp /media/usb0/update/${0##*/} /mnt/recovery/slots/";
static const char copiesTheBeginning[]
    = "head -c 1000 /media/usb0/update/${0##*/} >/mnt/recovery/slots/${0##*/}\n";

static QString fileName(const QByteArray &script)
{
    return QFileInfo(QString::fromLatin1(script)).fileName();
}

/// 100 kB, different for each script.
static QByteArray payload(const QByteArray &script)
{
    return (script + '\n').repeated(5000).left(100000);
}

/// Every script copies its payload. Without a stick the one that makes the recovery system fails.
static QByteArrayList linesWith(const Mishap &mishap, int mode, const QByteArray &script)
{
    if (script == Model::recoveryScript)
        return Model::update(mode, Model::Course::Aborted, mishap.code);
    if (script == Model::steps.first().script && !mishap.othersGoOn)
        return Model::update(mode, Model::Course::Aborted, 1);
    return Model::update(mode);
}

static QMap<QString, QByteArray> storedFiles()
{
    QMap<QString, QByteArray> files;
    for (const QString &name : QDir(storage).entryList(QDir::Files))
        files[name] = Instrument::read(storage + name);
    return files;
}

Q_DECLARE_METATYPE(const Mishap *)

class TestStorageFaults : public QObject
{
    Q_OBJECT

private slots:
    void init()
    {
        Instrument::clear();
        Instrument::writeUpdateScripts();
        Instrument::plugStorageDevice();
        QVERIFY(QDir().mkpath(storage));
    }

    void update_data()
    {
        QTest::addColumn<int>("mode");
        QTest::addColumn<QByteArray>("script");
        QTest::addColumn<const Mishap *>("mishap");
        for (int mode : {0, 2, 3, 4}) {
            for (const QByteArray &script : Model::scripts(Model::update(mode))) {
                for (const Mishap &mishap : mishaps)
                    QTest::addRow("mode %d, %s: %s", mode, script.constData(), mishap.name)
                        << mode << script << &mishap;
            }
        }
    }

    /// The sequence takes no notice, and nothing that was finished is lost.
    void update()
    {
        QFETCH(int, mode);
        QFETCH(QByteArray, script);
        QFETCH(const Mishap *, mishap);
        const QByteArrayList lines = linesWith(*mishap, mode, script);
        for (const QByteArray &writer : Model::scripts(lines)) {
            Instrument::write(stick + fileName(writer), payload(writer));
            Instrument::writeScript(QString::fromLatin1(writer), copies);
        }
        Instrument::writeScript(QString::fromLatin1(script),
                                QByteArray(copiesTheBeginning) + mishap->body);
        QMap<QString, QByteArray> expected;
        bool sourceIsThere = true;
        for (const QByteArray &writer : Model::scripts(lines)) {
            if (writer == script) {
                expected[fileName(writer)] = payload(writer).left(1000);
                sourceIsThere = mishap->othersGoOn;
            } else if (sourceIsThere) {
                expected[fileName(writer)] = payload(writer);
            }
        }

        const Outcome outcome = runUpdate(mode);
        QCOMPARE(outcome.lines, lines);
        QCOMPARE(outcome.status, 0);
        QCOMPARE(storedFiles().keys(), expected.keys());
        QCOMPARE(storedFiles(), expected);
        QCOMPARE(QFile::exists(stick), mishap->othersGoOn);
    }
};

QTEST_GUILESS_MAIN(TestStorageFaults)
#include "tst_storagefaults.moc"
