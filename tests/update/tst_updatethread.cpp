#include "tests/support/instrument.h"
#include "tests/update/model.h"
#include "tests/update/runupdate.h"

#include <QMetaMethod>
#include <QtTest>

/// The window's side of the thread.
class Owner : public QObject
{
    Q_OBJECT

public:
    explicit Owner(UpdateThread *ownedThread)
        : thread(ownedThread)
    {
        connect(thread, SIGNAL(progressChanged(int, QString)),
                SLOT(onProgressChanged(int, QString)));
        connect(thread, SIGNAL(titleChanged(QString)), SLOT(setTitle(QString)));
        connect(thread, SIGNAL(finished()), SLOT(onFinished()));
    }
    QByteArrayList received;
    int statusWhenFinished = -1;

public slots:
    void onProgressChanged(int progress, const QString &info)
    {
        receive(QByteArray::number(progress) + "% " + info.toUtf8());
    }
    void setTitle(const QString &title) { receive("title " + title.toUtf8().replace('\n', "\\n")); }
    void onFinished()
    {
        statusWhenFinished = thread->status;
        receive("finished");
    }

private:
    void receive(const QByteArray &line)
    {
        QCOMPARE(QThread::currentThread(), QCoreApplication::instance()->thread());
        received += line;
    }

    UpdateThread *thread;
};

class Exposed : public UpdateThread
{
public:
    using UpdateThread::process;
};

static bool isSignal(const QByteArray &line)
{
    return line.contains('%') || line.startsWith("title ") || line == "finished";
}

static QByteArrayList signalsOnly(const QByteArrayList &lines)
{
    QByteArrayList kept;
    std::copy_if(lines.begin(), lines.end(), std::back_inserter(kept), isSignal);
    return kept;
}

class TestUpdateThread : public QObject
{
    Q_OBJECT

private slots:
    void init()
    {
        Instrument::clear();
        Instrument::writeUpdateScripts();
    }

    void newThread()
    {
        const UpdateThread thread;
        QCOMPARE(thread.parent(), nullptr);
        QCOMPARE(thread.status, 0);
        QVERIFY(thread.verifyFailText.empty());
        QVERIFY(thread.overrideFailText.empty());
    }

    void setStatus()
    {
        UpdateThread thread;
        for (int status : {2, 1, 0, -5}) {
            thread.setStatus(status);
            QCOMPARE(thread.status, status);
        }
    }

    void metaObject()
    {
        const QMetaObject &meta = UpdateThread::staticMetaObject;
        QCOMPARE(meta.className(), "UpdateThread");
        QCOMPARE(meta.superClass(), &QThread::staticMetaObject);
        QCOMPARE(meta.methodCount() - meta.methodOffset(), 2);
        QCOMPARE(meta.propertyCount(), meta.propertyOffset());
        const QMetaMethod progress = meta.method(meta.methodOffset());
        QCOMPARE(progress.methodType(), QMetaMethod::Signal);
        QCOMPARE(progress.methodSignature(), QByteArray("progressChanged(int,QString)"));
        QCOMPARE(progress.parameterNames(), (QByteArrayList {"progress", "info"}));
        const QMetaMethod title = meta.method(meta.methodOffset() + 1);
        QCOMPARE(title.methodType(), QMetaMethod::Signal);
        QCOMPARE(title.methodSignature(), QByteArray("titleChanged(QString)"));
        QCOMPARE(title.parameterNames(), QByteArrayList {"title"});
    }

    void ownerReceivesEverySignalInOrder_data()
    {
        QTest::addColumn<int>("mode");
        QTest::addColumn<QByteArray>("versionBody");
        QTest::addColumn<QByteArrayList>("lines");
        QTest::addColumn<int>("status");
        for (int mode : {0, 2, 3, 4})
            QTest::addRow("mode %d", mode) << mode << QByteArray() << Model::update(mode) << 0;
        for (int mode : {0, 3, 4})
            QTest::addRow("mode %d, rejected", mode)
                << mode << QByteArray("echo rejected >/tmp/verifyFailed")
                << Model::update(mode, Model::Course::VersionRejected) << 1;
    }

    /// Queued into the owner's thread, finished() once and last, and the status settled by then.
    void ownerReceivesEverySignalInOrder()
    {
        QFETCH(int, mode);
        QFETCH(QByteArray, versionBody);
        QFETCH(QByteArrayList, lines);
        QFETCH(int, status);
        Instrument::writeScript(QString::fromLatin1(Model::versionScript), versionBody);
        UpdateThread thread;
        Owner owner(&thread);
        const Transcript transcript(&thread);
        thread.setMode(mode);
        thread.start(QThread::InheritPriority);
        QTRY_VERIFY(owner.received.contains("finished"));
        QVERIFY(thread.wait());
        QCoreApplication::processEvents();
        QCOMPARE(owner.received, signalsOnly(lines));
        QCOMPARE(owner.statusWhenFinished, status);
    }

    void signalsComeFromTheWorker()
    {
        UpdateThread thread;
        QSet<QThread *> senders;
        connect(&thread, &UpdateThread::progressChanged,
                [&] { senders += QThread::currentThread(); });
        connect(&thread, &UpdateThread::titleChanged, [&] { senders += QThread::currentThread(); });
        const Transcript transcript(&thread);
        thread.start(QThread::InheritPriority);
        QVERIFY(thread.wait());
        QCOMPARE(senders, QSet<QThread *> {&thread});
    }

    /// One process object for all steps, the worker's own, which outlives everything but the
    /// program.
    void processIsTheWorkers()
    {
        QPointer<QProcess> process;
        {
            Exposed thread;
            QCOMPARE(thread.process, nullptr);
            const Transcript transcript(&thread);
            thread.start(QThread::InheritPriority);
            QVERIFY(thread.wait());
            process = thread.process;
            QVERIFY(process);
            QCOMPARE(process->parent(), nullptr);
            QCOMPARE(process->thread(), &thread);
            QVERIFY(process->isWritable()); // the scripts' standard input was open
        }
        QVERIFY(process);
    }
};

QTEST_GUILESS_MAIN(TestUpdateThread)
#include "tst_updatethread.moc"
