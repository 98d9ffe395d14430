#include "tests/support/instrument.h"
#include "tests/support/modaldialogs.h"
#include "tests/support/screen.h"

#include "common/areyousurewarning.h"

#include <QLabel>
#include <QPushButton>
#include <QTextBlock>
#include <QTextEdit>
#include <QtTest>

/// What the confirmation says, which buttons it has, and what comes of closing it.
class TestAreYouSure : public QObject
{
    Q_OBJECT

private slots:
    void init() { Instrument::clear(); }
    void buttons_data();
    void buttons();
    void sizes_data();
    void sizes();
    void results_data();
    void results();
    void keptDialogSaysTheSame();
    void richText();
    void plainText();
};

static const QStringList twoTexts = {QStringLiteral("Title"), QStringLiteral("body")};

void TestAreYouSure::buttons_data()
{
    QTest::addColumn<QString>("further"); // separated by commas
    QTest::addColumn<bool>("shown");
    QTest::newRow("two texts") << QString() << true;
    QTest::newRow("notice") << QStringLiteral("Y") << false;
    QTest::newRow("small letter") << QStringLiteral("y") << true;
    QTest::newRow("four texts") << QStringLiteral("Y,x") << true;
    QTest::newRow("four texts, the last is Y") << QStringLiteral("x,Y") << true;
    QTest::newRow("five texts") << QStringLiteral("Y,Y,Y") << true;
    QTest::newRow("another letter") << QStringLiteral("N") << true;
    QTest::newRow("a word") << QStringLiteral("Yes") << true;
    QTest::newRow("with a blank") << QStringLiteral("Y ") << true;
}

void TestAreYouSure::buttons()
{
    QFETCH(QString, further);
    QFETCH(bool, shown);
    QWidget source;
    AreYouSureWarning dialog(&source,
                             twoTexts + further.split(QLatin1Char(','), Qt::SkipEmptyParts));
    dialog.show();
    QCOMPARE(dialog.findChildren<QPushButton *>().size(), 2);
    for (const QPushButton *button : dialog.findChildren<QPushButton *>()) {
        QCOMPARE(button->isVisible(), shown);
        QVERIFY(button->isEnabled());
    }
    QCOMPARE(dialog.findChild<QLabel *>(QStringLiteral("labelWarningTitle"))->text(),
             QStringLiteral("Title"));
    QCOMPARE(dialog.findChild<QTextEdit *>()->toPlainText(), QStringLiteral("body"));
}

void TestAreYouSure::sizes_data()
{
    QTest::addColumn<QSize>("size");
    for (const QSize size : {QSize(800, 480), QSize(1024, 600), QSize(1280, 800), QSize(640, 400)})
        QTest::addRow("%dx%d", size.width(), size.height()) << size;
}

void TestAreYouSure::sizes()
{
    QFETCH(QSize, size);
    QWidget source;
    source.resize(size);
    AreYouSureWarning dialog(&source, twoTexts);
    source.resize(300, 200); // read once
    dialog.show();
    QCOMPARE(dialog.size(), size);
    QCOMPARE(dialog.minimumSize(), size);
    QCOMPARE(dialog.maximumSize(), size);
}

using Close = void (*)(QDialog *dialog);
Q_DECLARE_METATYPE(Close)

void TestAreYouSure::results_data()
{
    QTest::addColumn<Close>("close");
    QTest::addColumn<bool>("accepted");
    const auto row = [](const char *name, Close close, bool accepted) {
        QTest::newRow(name) << close << accepted;
    };
    row(
        "Accept", [](QDialog *dialog) { touch(dialog, "pButtonAccept"); }, true);
    row(
        "Reject", [](QDialog *dialog) { touch(dialog, "pButtonReject"); }, false);
    row(
        "Escape", [](QDialog *dialog) { QTest::keyClick(dialog, Qt::Key_Escape); }, false);
    row(
        "window manager", [](QDialog *dialog) { closeByWindowManager(dialog); }, false);
    row(
        "close()", [](QDialog *dialog) { dialog->close(); }, false);
}

void TestAreYouSure::results()
{
    QFETCH(Close, close);
    QFETCH(bool, accepted);
    QWidget screen;
    screen.resize(800, 480);
    AreYouSureWarning *dialog = nullptr;
    for (int use = 0; use < 2; ++use) {
        ModalDialogs dialogs({[close](QDialog *open) { close(open); }});
        QCOMPARE(confirm(dialog, &screen, twoTexts), accepted);
        QCOMPARE(dialog->result(), int(accepted ? QDialog::Accepted : QDialog::Rejected));
        QVERIFY(!dialog->isVisible());
    }
    delete dialog;
}

void TestAreYouSure::keptDialogSaysTheSame()
{
    QWidget screen;
    screen.resize(1024, 600);
    AreYouSureWarning *dialog = nullptr;
    QVector<QDialog *> opened;
    const auto answer = [&opened](QDialog *open) {
        opened += open;
        QVERIFY(open->isModal());
        QCOMPARE(open->findChild<QLabel *>()->text(), QStringLiteral("Title"));
        QCOMPARE(open->findChild<QTextEdit *>()->toPlainText(), QStringLiteral("body"));
        QCOMPARE(open->size(), QSize(1024, 600));
        open->reject();
    };
    ModalDialogs dialogs({answer, answer});
    QVERIFY(!confirm(dialog, &screen, twoTexts));
    screen.resize(800, 480);
    QVERIFY(!confirm(dialog, &screen, {QStringLiteral("Other"), QStringLiteral("text")}));
    QCOMPARE(opened, QVector<QDialog *>({dialog, dialog}));
    delete dialog;
}

void TestAreYouSure::richText()
{
    QWidget source;
    AreYouSureWarning dialog(
        &source,
        {QStringLiteral("<b>Title</b>"),
         QStringLiteral("<H1>Warning</H1>This <b>cannot</b> be<br>reversed.\n")});
    const auto *body = dialog.findChild<QTextEdit *>();
    QCOMPARE(body->toPlainText(), QStringLiteral("Warning\nThis cannot be\nreversed. "));
    QCOMPARE(body->document()->firstBlock().blockFormat().headingLevel(), 1);
    const auto *title = dialog.findChild<QLabel *>();
    QCOMPARE(title->text(), QStringLiteral("<b>Title</b>"));
}

void TestAreYouSure::plainText()
{
    QWidget source;
    AreYouSureWarning dialog(&source, {QStringLiteral("Title"), QStringLiteral("a  b\n1 < 2\n")});
    QCOMPARE(dialog.findChild<QTextEdit *>()->toPlainText(), QStringLiteral("a  b\n1 < 2\n"));
}

QTEST_MAIN(TestAreYouSure)
#include "tst_areyousure.moc"
