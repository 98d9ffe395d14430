#include "tests/support/instrument.h"
#include "tests/update/model.h"
#include "tests/update/runupdate.h"

#include <QtTest>

/// Longer than the 30 seconds after which a process object gives up waiting if it is let.
static const char lastsLong[] = "sleep 32; echo done >>/run/calls";

class TestUnlimitedWait : public QObject
{
    Q_OBJECT

private slots:
    void init()
    {
        Instrument::clear();
        Instrument::writeUpdateScripts();
    }

    void update()
    {
        const QByteArray script = "/etc/update/7-USB-rootfs.sh";
        Instrument::writeScript(QString::fromLatin1(script), lastsLong);
        QByteArrayList expected = Model::update(0);
        expected.insert(expected.indexOf(script) + 1, "done");
        QCOMPARE(runUpdate(0).lines, expected);
    }

    void installOverrides()
    {
        const QByteArray script = "/etc/update/00-USB-installoverrides.sh";
        Instrument::writeScript(QString::fromLatin1(script), lastsLong);
        UpdateThread thread;
        const Transcript transcript(&thread);
        QCOMPARE(thread.installOverrides(), 0);
        QCOMPARE(Transcript::lines(),
                 (QByteArrayList {"Implementing overrides...", "title Overrides:", script, "done",
                                  "title Overrides:\\nRebooting", "Status set..."}));
    }
};

QTEST_GUILESS_MAIN(TestUnlimitedWait)
#include "tst_unlimitedwait.moc"
