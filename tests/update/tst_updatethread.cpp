#include "tests/support/console.h"
#include "tests/support/instrument.h"
#include "update/updatethread.h"

#include <QtTest>

class TestUpdateThread : public QObject
{
    Q_OBJECT

private slots:
    void init()
    {
        Instrument::clear();
        Instrument::writeUpdateScripts();
    }

    void usbUpdate()
    {
        UpdateThread thread;
        Console console;
        QSignalSpy progress(&thread, SIGNAL(progressChanged(int, QString)));
        thread.setMode(0);
        thread.start(QThread::InheritPriority);
        QVERIFY(thread.wait());
        QTRY_COMPARE(progress.count(), 13);
        QCOMPARE(console.take(), QByteArray("code = 0\nUpdating Files...\nSet Current & Next Partition...\nREBOOTING...\n"));
        QCOMPARE(Instrument::calls().size(), 12);
    }
};

QTEST_MAIN(TestUpdateThread)
#include "tst_updatethread.moc"
