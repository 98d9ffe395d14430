#include "tests/support/instrument.h"
#include "tests/tools/formtext.h"
#include "ui_areyousurewarning.h"
#include "ui_exportlogdata.h"
#include "ui_utilities.h"

#include "common/areyousurewarning.h"
#include "tools/exportlogdata.h"
#include "tools/utilities.h"

#include <QDialog>
#include <QPushButton>
#include <QtTest>

#include <memory>

/// The forms of the menu, the confirmation and the export, bare and as the program makes them.
class TestToolsForms : public QObject
{
    Q_OBJECT

private slots:
    void init() { Instrument::clear(); }
    void utilities();
    void areYouSureWarning();
    void exportLogData();
    void menuButtonsShareAFont();
};

// clang-format off

// The style sheet's last two rules are inert, and meant to be. Under its first one the only button
// with a font of its own takes nothing over any more.
static const QStringList utilitiesWidgets = {
    QStringLiteral("QWidget Utilities: Liberation Sans 15 pt weight 50; maximumSize 1280x800; minimumSize 800x480; size 800x480; styleSheet QPushButton {font: 15pt \"Liberation Sans\";}\\n##QPushButton {border-width: 5px; border-color: #B6B6B6; border-style: ridge; font: 15pt \"Liberation Sans\";}\\n##QPushButton:pressed {border-width: 5px; border-style: inset; background-color: gray;}; windowModality ApplicationModal; windowTitle Form"),
    QStringLiteral("QLabel labelTitleUtils: Liberation Sans 18 pt weight 75; alignment AlignCenter; text Support Tools"),
    QStringLiteral("QPushButton pbuttonBackToMain: Minimum/Expanding; minimumSize 0x100; text Done"),
    QStringLiteral("QPushButton pbuttonChgVersion: Minimum/Expanding; minimumSize 0x100; text Change\\nVersion"),
    QStringLiteral("QPushButton pbuttonExportData: Minimum/Expanding; minimumSize 0x100; text Export Data\\\\nDiagnostic\\nData"),
    QStringLiteral("QPushButton pbuttonLogs: Minimum/Expanding; minimumSize 0x100; text View Logs"),
    QStringLiteral("QPushButton pbuttonResetDisplayDetection: Minimum/Expanding; minimumSize 0x100; text Reset\\nDisplay\\nDetection"),
    QStringLiteral("QPushButton pbuttonResetLR: Minimum/Expanding; minimumSize 0x100; text Reset\\nLocal\\Remote\\nIP Address"),
    QStringLiteral("QPushButton pbuttonResetSystemSettings: Minimum/Expanding; Liberation Sans 15 pt weight 50 and more; minimumSize 0x100; text Reset\\nAll System\\nSettings"),
    QStringLiteral("QPushButton pbuttonResetTouchCalibration: Minimum/Expanding; minimumSize 0x100; text Reset\\nTouch Screen\\nCalibration"),
};

static const QStringList utilitiesLayouts = {
    QStringLiteral("verticalLayout_2 QVBoxLayout on Utilities: "),
    QStringLiteral("labelTitleUtils"),
    QStringLiteral("gridLayout_5"),
    QStringLiteral("gridLayout_5 QGridLayout on verticalLayout_2: spacing 20; margins 5,9,5,9"),
    QStringLiteral("0,0 horizontal 40x20 Expanding/Minimum"),
    QStringLiteral("0,1 horizontal 40x20 Expanding/Minimum"),
    QStringLiteral("0,2 horizontal 40x20 Expanding/Minimum"),
    QStringLiteral("0,3 horizontal 40x20 Expanding/Minimum"),
    QStringLiteral("0,4 horizontal 40x20 Expanding/Minimum"),
    QStringLiteral("2,0 pbuttonLogs"),
    QStringLiteral("2,1 pbuttonChgVersion"),
    QStringLiteral("2,4 pbuttonExportData"),
    QStringLiteral("3,0 vertical 20x40 Minimum/Expanding"),
    QStringLiteral("4,0 pbuttonResetLR"),
    QStringLiteral("4,1 pbuttonResetTouchCalibration"),
    QStringLiteral("4,2 pbuttonResetDisplayDetection"),
    QStringLiteral("4,3 pbuttonResetSystemSettings"),
    QStringLiteral("4,4 pbuttonBackToMain"),
};

static const QStringList warningWidgets = {
    QStringLiteral("QDialog AreYouSureWarning: Preferred/Expanding; Liberation Mono; maximumSize 800x480; minimumSize 800x480; size 800x480; windowTitle Dialog"),
    QStringLiteral("QLabel labelWarningTitle: Liberation Mono 16 pt; alignment AlignCenter; text TextLabel"),
    QStringLiteral("QPushButton pButtonAccept: Minimum/Preferred; Liberation Mono 16 pt; minimumSize 387x22; text Accept"),
    QStringLiteral("QPushButton pButtonReject: Minimum/Preferred; 16 pt; text Reject"),
    QStringLiteral("QTextEdit textEdit: 14 pt"), // Expanding/Expanding, as every text edit
};

static const QStringList warningLayouts = {
    QStringLiteral("verticalLayout QVBoxLayout on AreYouSureWarning: stretch 1,10,2"),
    QStringLiteral("labelWarningTitle"),
    QStringLiteral("textEdit"),
    QStringLiteral("horizontalLayout_3"),
    QStringLiteral("horizontalLayout_3 QHBoxLayout on verticalLayout: "),
    QStringLiteral("pButtonAccept"),
    QStringLiteral("pButtonReject"),
};

static const QStringList exportWidgets = {
    QStringLiteral("QDialog ExportLogData: maximumSize 1280x800; minimumSize 800x480; size 800x480; windowTitle Dialog"),
    QStringLiteral("QLabel labelExportDataDesc: Maximum/Maximum; Liberation Serif; text <html><head/><body><p><span style=\" font-size:12pt;\">This will export the diagnostic &amp; log data .tgz file to<br>the root directory of an attached USB storage device.</span></p></body></html>"),
    QStringLiteral("QLabel labelTitleExportLogData: Maximum/Maximum; Liberation Serif 12 pt weight 75; text Export Diagnostic & Log Data"),
    QStringLiteral("QLabel labelUsb: Liberation Serif 12 pt; text USB State Label"),
    QStringLiteral("QPushButton pbuttonBackToUtils: Maximum/Maximum; Liberation Serif 16 pt; minimumSize 130x90; text Done"),
    QStringLiteral("QPushButton pbuttonExportData: Preferred/Preferred; Liberation Serif 16 pt weight 50; autoDefault false; minimumSize 250x91; text Export Data\\nTo\\nUSB Storage Device"),
};

static const QStringList exportLayouts = {
    QStringLiteral("verticalLayout QVBoxLayout on ExportLogData: stretch 2,2,1,2,4,0,3,3,2"),
    QStringLiteral("vertical 20x32 Minimum/Expanding"),
    QStringLiteral("labelTitleExportLogData centred"),
    QStringLiteral("vertical 20x15 Minimum/Expanding"),
    QStringLiteral("labelExportDataDesc centred"),
    QStringLiteral("vertical 20x67 Minimum/Expanding"),
    QStringLiteral("labelUsb centred"),
    QStringLiteral("pbuttonExportData centred"),
    QStringLiteral("vertical 20x50 Minimum/Expanding"),
    QStringLiteral("pbuttonBackToUtils right"),
};

// clang-format on

template <typename Window, typename Form> static std::unique_ptr<QWidget> bareForm()
{
    auto window = std::make_unique<Window>();
    Form().setupUi(window.get());
    return window;
}

template <typename Screen, typename... Further>
static std::unique_ptr<QWidget> program(const Further &...further)
{
    QWidget opener;
    opener.resize(1024, 600);
    return std::make_unique<Screen>(&opener, further...);
}

/// What a screen makes of its form at once: the opener's size, and a grey "Done".
static QStringList started(QStringList widgets)
{
    widgets.replaceInStrings(
        QStringLiteral("text Done"),
        QStringLiteral("styleSheet QPushButton{background-color:lightgray}; text Done"));
    widgets[0].replace(QStringLiteral("1280x800"), QStringLiteral("1024x600"));
    widgets[0].replace(QStringLiteral("800x480"), QStringLiteral("1024x600"));
    return widgets;
}

void TestToolsForms::utilities()
{
    const MakeForm bare = bareForm<QWidget, Ui::Utilities>;
    QCOMPARE(widgetsOf(bare), utilitiesWidgets);
    QCOMPARE(layoutsOf(bare), utilitiesLayouts);

    const MakeForm screen = [] { return program<Utilities>(); };
    QCOMPARE(widgetsOf(screen), started(utilitiesWidgets));
    QCOMPARE(layoutsOf(screen), utilitiesLayouts);
}

void TestToolsForms::areYouSureWarning()
{
    const MakeForm bare = bareForm<QDialog, Ui::AreYouSureWarning>;
    QCOMPARE(widgetsOf(bare), warningWidgets);
    QCOMPARE(layoutsOf(bare), warningLayouts);

    const MakeForm screen = [] {
        return program<AreYouSureWarning>(
            QStringList {QStringLiteral("Title"), QStringLiteral("body")});
    };
    QStringList widgets = started(warningWidgets);
    widgets.replaceInStrings(QStringLiteral("TextLabel"), QStringLiteral("Title"));
    QCOMPARE(widgetsOf(screen), widgets);
    QCOMPARE(layoutsOf(screen), warningLayouts);
}

void TestToolsForms::exportLogData()
{
    const MakeForm bare = bareForm<QDialog, Ui::ExportLogData>;
    QCOMPARE(widgetsOf(bare), exportWidgets);
    QCOMPARE(layoutsOf(bare), exportLayouts);

    const MakeForm screen = [] { return program<ExportLogData>(); };
    QStringList widgets = started(exportWidgets);
    widgets.replaceInStrings(QStringLiteral("; text USB State Label"), QString());
    QCOMPARE(widgetsOf(screen), widgets);
    QCOMPARE(layoutsOf(screen), exportLayouts);
}

// That of the one rule of the menu's style sheet that counts.
void TestToolsForms::menuButtonsShareAFont()
{
    const std::unique_ptr<QWidget> menu = program<Utilities>();
    menu->show();
    const auto buttons = menu->findChildren<QPushButton *>();
    QCOMPARE(buttons.size(), 8);
    for (const QPushButton *button : buttons) {
        QCOMPARE(button->font().family(), QStringLiteral("Liberation Sans"));
        QCOMPARE(button->font().pointSize(), 15);
        QCOMPARE(button->font().weight(), int(QFont::Normal));
    }
}

QTEST_MAIN(TestToolsForms)
#include "tst_toolsforms.moc"
