#include "tests/support/instrument.h"
#include "tests/support/modaldialogs.h"
#include "tests/support/screen.h"
#include "tests/tools/events.h"
#include "tests/tools/resetrow.h"

#include <QFile>
#include <QPointer>
#include <QPushButton>
#include <QThread>
#include <QtTest>

/// What a touch of each button of the four resets does to the instrument, and in which order.
class TestResets : public QObject
{
    Q_OBJECT

private slots:
    void init();
    void done_data() { addResetRows(); }
    void done();
    void rejected_data() { addResetRows(); }
    void rejected();
    void accepted_data();
    void accepted();
    void closed_data() { addResetRows(); }
    void closed();
    void confirmationIsKept_data() { addResetRows(); }
    void confirmationIsKept();
    void noticeReplacesTheConfirmation();
    void muchOutputIsHarmless();
};

void TestResets::init()
{
    Instrument::clear();
    for (const ResetRow &row : resetRows)
        Instrument::writeScript(path(row.script));
    Instrument::writeScript(QStringLiteral("/sbin/reboot"));
}

static QVector<ModalDialogs::Answer> accept(const ResetRow &row)
{
    QVector<ModalDialogs::Answer> answers
        = {[](QDialog *warning) { touch(warning, "pButtonAccept"); }};
    if (row.reboots)
        answers += [](QDialog *notice) {
            expectNotice(notice);
            notice->close();
        };
    return answers;
}

/// What an accepted reset leaves behind, in its order.
static QByteArray course(const ResetRow &row, const QByteArray &call, const QByteArray &code)
{
    QByteArray text
        = call + "Code: '0' = success,  'other' = fail\n" + row.codeLabel + code + "\n[sync]\n";
    return row.reboots ? text + "/sbin/reboot\n" : text;
}

static QByteArray call(const ResetRow &row)
{
    return row.script + QByteArray(row.argument ? " " : "") + row.argument + '\n';
}

void TestResets::done()
{
    QFETCH(const ResetRow *, row);
    Opened screen(*row);
    Events events;
    touch(screen.dialog(), "pbuttonBackToUtils");
    QVERIFY(!screen.dialog()->isVisible());
    QCOMPARE(events.take(), QByteArray());
}

void TestResets::rejected()
{
    QFETCH(const ResetRow *, row);
    using Answer = ModalDialogs::Answer;
    const QVector<Answer> ways = {
        [](QDialog *warning) { touch(warning, "pButtonReject"); },
        [](QDialog *warning) { QTest::keyClick(warning, Qt::Key_Escape); },
        [](QDialog *warning) { closeByWindowManager(warning); },
    };
    for (const Answer &reject : ways) {
        Opened screen(*row);
        Events events;
        const ModalDialogs dialogs({[row, reject](QDialog *warning) {
            expectWarning(warning, *row);
            reject(warning);
        }});
        touch(screen.dialog(), row->button);
        QVERIFY(!screen.dialog()->isVisible()); // it does not come back to the reset
        QCOMPARE(events.take(), QByteArray());
    }
}

static const char missing[] = "missing";

void TestResets::accepted_data()
{
    QTest::addColumn<const ResetRow *>("row");
    QTest::addColumn<QByteArray>("body");
    QTest::addColumn<QByteArray>("code");
    for (const ResetRow &row : resetRows) {
        QTest::addRow("%s", row.name) << &row << QByteArray() << QByteArray("0");
        QTest::addRow("%s fails", row.name) << &row << QByteArray("exit 3") << QByteArray("3");
        QTest::addRow("%s fails most", row.name)
            << &row << QByteArray("exit 255") << QByteArray("255");
        QTest::addRow("%s is killed", row.name)
            << &row << QByteArray("kill -9 $$") << QByteArray("9");
        QTest::addRow("%s is missing", row.name)
            << &row << QByteArray(missing) << QByteArray("255");
        QTest::addRow("%s takes its time", row.name)
            << &row << QByteArray("sleep 0.3") << QByteArray("0");
        QTest::addRow("%s talks", row.name)
            << &row << QByteArray("echo done; echo trouble >&2") << QByteArray("0");
        QTest::addRow("%s waits for input", row.name) // which never comes, and never ends
            << &row << QByteArray("timeout 0.2 cat") << QByteArray("124");
    }
}

void TestResets::accepted()
{
    QFETCH(const ResetRow *, row);
    QFETCH(QByteArray, body);
    QFETCH(QByteArray, code);
    Instrument::writeScript(path(row->script), body);
    if (body == missing)
        QFile::remove(path(row->script));
    Opened screen(*row);
    Events events;
    {
        const ModalDialogs dialogs(accept(*row));
        touch(screen.dialog(), row->button);
    }
    QCOMPARE(screen.dialog()->isVisible(), row->reboots);
    QCOMPARE(events.take(), course(*row, body == missing ? QByteArray() : call(*row), code));
}

void TestResets::closed()
{
    QFETCH(const ResetRow *, row);
    for (const bool escape : {true, false}) {
        Opened screen(*row);
        Events events;
        if (escape)
            QTest::keyClick(screen.dialog(), Qt::Key_Escape);
        else
            closeByWindowManager(screen.dialog());
        QVERIFY(!screen.dialog()->isVisible());
        QCOMPARE(events.take(), QByteArray());
    }
}

// The confirmation is made once, is nobody's child, and outlives the screen.
void TestResets::confirmationIsKept()
{
    QFETCH(const ResetRow *, row);
    QVector<QPointer<QDialog>> seen;
    {
        Opened screen(*row);
        for (int press = 0; press < 3; ++press) {
            const ModalDialogs dialogs({[&seen, row](QDialog *warning) {
                expectWarning(warning, *row);
                QVERIFY(warning->isModal());
                QVERIFY(!warning->parent());
                seen += QPointer<QDialog>(warning);
                warning->reject();
            }});
            screen.dialog()->show();
            touch(screen.dialog(), row->button);
        }
    }
    QCOMPARE(seen.size(), 3);
    QVERIFY(seen.at(0));
    QCOMPARE(seen.at(1), seen.at(0));
    QCOMPARE(seen.at(2), seen.at(0));
    delete seen.at(0);
}

// After the reboot was started the screen stays, and its button brings the notice up again; the
// confirmation made before it is left as it is.
void TestResets::noticeReplacesTheConfirmation()
{
    const ResetRow &row = *std::find_if(std::begin(resetRows), std::end(resetRows),
                                        [](const ResetRow &each) { return each.reboots; });
    Opened screen(row);
    const Events events;
    QPointer<QDialog> warning;
    QPointer<QDialog> notice;
    {
        const ModalDialogs dialogs({[&warning](QDialog *dialog) {
                                        warning = dialog;
                                        touch(dialog, "pButtonAccept");
                                    },
                                    [&notice](QDialog *dialog) {
                                        notice = dialog;
                                        expectNotice(dialog);
                                        dialog->close();
                                    }});
        touch(screen.dialog(), row.button);
    }
    QVERIFY(warning && notice && warning != notice);
    QVERIFY(notice->isModal());
    QVERIFY(!notice->parent());
    QDialog *again = nullptr;
    {
        const ModalDialogs dialogs({[&again](QDialog *dialog) {
            again = dialog;
            dialog->reject();
        }});
        touch(screen.dialog(), row.button);
    }
    QCOMPARE(again, notice.data());
    delete warning;
    delete notice;
}

/// The most memory that this program has had, in kilobytes.
static int memoryPeak()
{
    for (const QByteArray &line :
         Instrument::read(QStringLiteral("/proc/self/status")).split('\n')) {
        if (line.startsWith("VmHWM:"))
            return line.simplified().split(' ').at(1).toInt();
    }
    return 0;
}

void TestResets::muchOutputIsHarmless()
{
    for (const ResetRow &row : resetRows) {
        Instrument::writeScript(
            path(row.script),
            "head -c 100000000 /dev/zero; head -c 100000000 /dev/zero >&2; exit 7");
        Opened screen(row);
        Events events;
        const int peak = memoryPeak();
        QVERIFY(peak > 0);
        {
            const ModalDialogs dialogs(accept(row));
            touch(screen.dialog(), row.button);
        }
        QVERIFY(memoryPeak() - peak < 20000);
        QCOMPARE(events.take(), course(row, call(row), "7"));
    }
}

QTEST_MAIN(TestResets)
#include "tst_resets.moc"
