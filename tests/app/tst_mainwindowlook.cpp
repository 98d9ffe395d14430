#include "tests/support/commandline.h"
#include "tests/support/instrument.h"
#include "ui_mainwindow.h"

#include "app/mainwindow.h"

#include <QTranslator>

/// How the form looks and what it says: fonts, style sheets that do nothing, translated texts.
class TestMainWindowLook : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase();
    void fonts_data();
    void fonts();
    void styleSheetsChangeNothing();
    void translations();
    void cleanupTestCase();

private:
    QMainWindow *bare = nullptr; ///< Just the form.
    Ui::MainWindow form;
    MainWindow *program = nullptr; ///< The form with the program behind it.
};

struct FontRow
{
    const char *widget;
    const char *family;
    int size; ///< Or 0.
    int weight; ///< Or -1.
};

Q_DECLARE_METATYPE(FontRow)

// Every widget states a family: the window's own would not reach them, since Qt hands no font down
// below a style sheet. What else is not stated is the toolkit's choice.
static constexpr FontRow fontRows[] = {
    {"MainWindow", "Liberation Serif", 0, -1},
    {"centralWidget", "Liberation Serif", 0, -1},
    {"update_title", "Liberation Sans", 24, QFont::Normal},
    {"messageFrm", "Liberation Serif", 0, -1},
    {"messages", "Liberation Serif", 11, 75},
    {"ETHbtn", "Liberation Serif", 24, -1},
    {"progressMsg", "Liberation Serif", 14, -1},
    {"usbLabel", "Liberation Serif", 14, QFont::Normal},
    {"progressBar", "Liberation Sans", 0, -1},
    {"USBbtn", "Liberation Sans", 24, -1},
    {"pbuttonUtils", "Liberation Sans", 18, QFont::Normal},
    {"pbuttonVersions", "Liberation Sans", 18, -1},
    {"pbuttonBackupSettings", "Liberation Serif", 0, -1},
    {"lblUSBBackup", "Liberation Sans", 12, -1},
    {"version_number", "Liberation Sans", 10, QFont::Normal},
};

void TestMainWindowLook::initTestCase()
{
    Instrument::clear();
    bare = new QMainWindow;
    form.setupUi(bare);
    program = new MainWindow;
}

void TestMainWindowLook::cleanupTestCase()
{
    delete program;
    delete bare;
}

void TestMainWindowLook::fonts_data()
{
    QTest::addColumn<FontRow>("row");
    for (const FontRow &row : fontRows)
        QTest::newRow(row.widget) << row;
}

void TestMainWindowLook::fonts()
{
    QFETCH(FontRow, row);
    uint stated = QFont::FamilyResolved;
    if (row.size != 0)
        stated |= QFont::SizeResolved;
    if (row.weight >= 0)
        stated |= QFont::WeightResolved;
    for (QMainWindow *window : {bare, static_cast<QMainWindow *>(program)}) {
        const QString name = QString::fromLatin1(row.widget);
        const QWidget *widget
            = window->objectName() == name ? window : window->findChild<QWidget *>(name);
        const QFont font = widget->font();
        QCOMPARE(font.resolve(), stated);
        QCOMPARE(font.family(), QString::fromLatin1(row.family));
        QCOMPARE(font.pointSize(), row.size != 0 ? row.size : QApplication::font().pointSize());
        QCOMPARE(font.weight(), row.weight >= 0 ? row.weight : int(QFont::Normal));
        QCOMPARE(font.bold(), row.weight == 75);
        QVERIFY(!font.italic() && !font.underline() && !font.strikeOut());
    }
}

// Two "#" begin no rule: the screen has the toolkit's colours and the buttons its borders.
void TestMainWindowLook::styleSheetsChangeNothing()
{
    const QImage withStyleSheets = bare->grab().toImage();
    QMainWindow plain;
    Ui::MainWindow plainForm;
    plainForm.setupUi(&plain);
    plain.setStyleSheet(QString());
    plain.centralWidget()->setStyleSheet(QString());
    QCOMPARE(withStyleSheets, plain.grab().toImage());
    QCOMPARE(withStyleSheets.pixelColor(2, 2), QApplication::palette().color(QPalette::Window));
}

/// Knows every text, and notes which were asked for.
class Shouting : public QTranslator
{
public:
    bool isEmpty() const override { return false; }
    QString translate(const char *context, const char *text, const char *disambiguation,
                      int number) const override
    {
        asked += QStringList {QString::fromUtf8(context), QString::fromUtf8(text),
                              QString::fromUtf8(disambiguation), QString::number(number)};
        return QString::fromUtf8(text).toUpper();
    }
    mutable QList<QStringList> asked;
};

void TestMainWindowLook::translations()
{
    QMap<QString, QString> texts = {
        {QStringLiteral("update_title"), QStringLiteral("Initializing:")},
        {QStringLiteral("messages"), QStringLiteral("Messages")},
        {QStringLiteral("progressMsg"), QStringLiteral("This will take a few minutes.")},
        {QStringLiteral("usbLabel"), QStringLiteral("No USB storage detected!")},
        {QStringLiteral("USBbtn"), QStringLiteral("USB")},
        {QStringLiteral("pbuttonUtils"), QStringLiteral("Support\nTools")},
        {QStringLiteral("pbuttonVersions"), QStringLiteral("Versions")},
        {QStringLiteral("pbuttonBackupSettings"), QStringLiteral(">>|<<")},
        {QStringLiteral("lblUSBBackup"),
         QStringLiteral("Restore Settings\nAfter Install\nNot Enabled")},
        {QStringLiteral("version_number"), QStringLiteral("Bootloader:\nV4.05.00")},
    };
    Shouting translator;
    QCoreApplication::installTranslator(&translator);
    translator.asked.clear();
    form.retranslateUi(bare);
    QCoreApplication::removeTranslator(&translator);

    for (auto row = texts.begin(); row != texts.end(); ++row)
        QCOMPARE(bare->findChild<QWidget *>(row.key())->property("text").toString(),
                 row.value().toUpper());
    QCOMPARE(bare->windowTitle(), QStringLiteral("MAINWINDOW"));
    texts[QString()] = QStringLiteral("MainWindow"); // the window's title
    QCOMPARE(translator.asked.size(), texts.size());
    for (const QString &text : qAsConst(texts))
        QVERIFY2(translator.asked.contains(
                     {QStringLiteral("MainWindow"), text, QString(), QStringLiteral("-1")}),
                 qPrintable(text));
    form.retranslateUi(bare);
}

int main(int argc, char **argv) { return CommandLine::run<TestMainWindowLook>(argc, argv); }
#include "tst_mainwindowlook.moc"
