#include "tests/support/instrument.h"
#include "tests/tools/formtext.h"
#include "ui_resetdisplaydetection.h"
#include "ui_resetlocalremote.h"
#include "ui_resetsystemsettings.h"
#include "ui_resettouchcalibration.h"

#include "tools/resetdisplaydetection.h"
#include "tools/resetlocalremote.h"
#include "tools/resetsystemsettings.h"
#include "tools/resettouchcalibration.h"

#include <QDialog>
#include <QtTest>

#include <memory>

/// The forms of the four resets, bare and as the program makes them. They differ in small things,
/// and are meant to.
class TestResetForms : public QObject
{
    Q_OBJECT

private slots:
    void init() { Instrument::clear(); }
    void form_data();
    void form();
};

struct Row
{
    const char *name;
    const char *window; ///< What its own dialog states.
    const char *initialSize;
    const char *title; ///< Object name.
    const char *titleText; ///< With what is set before it.
    const char *description;
    const char *descriptionFont;
    const char *descriptionText; ///< The sentence, with what is set before the text.
    const char *button;
    const char *buttonFont;
    const char *buttonText;
    QVector<int> spacers;
    std::unique_ptr<QWidget> (*bare)();
    std::unique_ptr<QWidget> (*program)(QWidget *opener);
};
Q_DECLARE_METATYPE(const Row *)

template <typename Form> static std::unique_ptr<QWidget> bareForm()
{
    auto dialog = std::make_unique<QDialog>();
    Form().setupUi(dialog.get());
    return dialog;
}

template <typename Dialog> static std::unique_ptr<QWidget> programForm(QWidget *opener)
{
    return std::make_unique<Dialog>(opener);
}

// A frame of no shape and plain shadow, and a size policy of twice Preferred, are the toolkit's
// too.
// clang-format off
static const Row rows[] = {
    {"ResetLocalRemote", "Liberation Serif 14 pt; ", "800x480",
     "labelTitleResetLR", "text Reset Local/Remote IP Address",
     "labelResetLRDesc", "Liberation Serif 16 pt", "text %This will reset the local/remote IP address back to (local) the system default.%",
     "pbuttonResetLR", "Liberation Sans 16 pt weight 50", "Reset Local/Remote\\nIP Address",
     {40, 40, 40, 40}, bareForm<Ui::ResetLocalRemote>, programForm<ResetLocalRemote>},
    {"ResetTouchCalibration", "Liberation Serif; ", "800x480",
     "labelTitleResetTouchCalib", "alignment AlignCenter; text Reset Touch Screen Calibration",
     "labelResetTouchDesc", "16 pt", "alignment AlignCenter; text %This will remove the current touch screen calibration file.%",
     "pbuttonResetTouchCalib", "Liberation Sans 16 pt", "Reset\\nTouch Screen\\nCalibration",
     {40, 40, 40, 40}, bareForm<Ui::ResetTouchCalibration>, programForm<ResetTouchCalibration>},
    {"ResetSystemSettings", "", "800x480",
     "labelTitleResetLR", "text Reset All System Settings", // the names of the local/remote form
     "labelResetLRDesc", "Liberation Serif 16 pt", "text %This will reset the indicator to its system default state and settings.%",
     "pbuttonResetSystemSettings", "Liberation Sans 16 pt", "Reset All\\nSystem Settings",
     {37, 17, 78, 57}, bareForm<Ui::ResetSystemSettings>, programForm<ResetSystemSettings>},
    {"ResetDisplayDetection", "Liberation Serif; ", "806x507",
     "labelTitleResetDisplayDetection", "alignment AlignCenter; text Reset Display Detection",
     "labelResetDisplayDetectionDesc", "16 pt", "alignment AlignCenter; text %This will remove the current detected display files.%",
     "pbuttonResetDisplayDetection", "Liberation Sans 16 pt", "Reset\\nDisplay Detection",
     {30, 63, 63, 46}, bareForm<Ui::ResetDisplayDetection>, programForm<ResetDisplayDetection>},
};
// clang-format on

static QString text(const char *latin) { return QString::fromLatin1(latin); }

static QString html(const char *sentence)
{
    QString whole = text(sentence);
    whole.replace(whole.indexOf(QLatin1Char('%')), 1,
                  QStringLiteral("<html><head/><body><p><span style=\" font-size:16pt;\">"));
    return whole.replace(QLatin1Char('%'), QStringLiteral("</span></p></body></html>"));
}

static QStringList widgets(const Row &row, const QString &sizes, const QString &doneStyle)
{
    QStringList lines = {
        QStringLiteral("QLabel %1: Maximum/Maximum; Liberation Sans 18 pt weight 75; %2")
            .arg(text(row.title), text(row.titleText)),
        QStringLiteral("QLabel %1: Maximum/Maximum; %2; %3")
            .arg(text(row.description), text(row.descriptionFont), html(row.descriptionText)),
        QStringLiteral("QPushButton %1: Preferred/Preferred; %2; autoDefault false; minimumSize "
                       "250x91; text %3")
            .arg(text(row.button), text(row.buttonFont), text(row.buttonText)),
        QStringLiteral("QPushButton pbuttonBackToUtils: Maximum/Maximum; Liberation Sans 16 pt; "
                       "minimumSize 130x90; %1text Done")
            .arg(doneStyle),
    };
    lines.sort();
    lines.prepend(QStringLiteral("QDialog %1: %2%3; windowTitle Dialog")
                      .arg(text(row.name), text(row.window), sizes));
    return lines;
}

static QStringList layouts(const Row &row)
{
    const auto spacer = [&row](int index) {
        return QStringLiteral("vertical 20x%1 Minimum/Expanding").arg(row.spacers.at(index));
    };
    return {
        QStringLiteral("verticalLayout QVBoxLayout on %1: stretch 2,2,4,2,4,3,3,2")
            .arg(text(row.name)),
        spacer(0),
        text(row.title) + QStringLiteral(" centred"),
        spacer(1),
        text(row.description) + QStringLiteral(" centred"),
        spacer(2),
        text(row.button) + QStringLiteral(" centred"),
        spacer(3),
        QStringLiteral("pbuttonBackToUtils right"),
    };
}

void TestResetForms::form_data()
{
    QTest::addColumn<const Row *>("row");
    for (const Row &row : rows)
        QTest::newRow(row.name) << &row;
}

void TestResetForms::form()
{
    QFETCH(const Row *, row);
    QCOMPARE(widgetsOf(row->bare),
             widgets(*row,
                     QStringLiteral("maximumSize 1280x800; minimumSize 800x480; size ")
                         + text(row->initialSize),
                     QString()));
    QCOMPARE(layoutsOf(row->bare), layouts(*row));

    // beyond the form's own limits, either way
    for (const QSize size :
         {QSize(800, 480), QSize(1024, 600), QSize(1400, 900), QSize(640, 400)}) {
        const MakeForm program = [row, size] {
            QWidget opener;
            opener.resize(size);
            return row->program(&opener);
        };
        QCOMPARE(widgetsOf(program),
                 widgets(*row,
                         QStringLiteral("maximumSize %1x%2; minimumSize %1x%2; size %1x%2")
                             .arg(size.width())
                             .arg(size.height()),
                         QStringLiteral("styleSheet QPushButton{background-color:lightgray}; ")));
        QCOMPARE(layoutsOf(program), layouts(*row));
    }
}

QTEST_MAIN(TestResetForms)
#include "tst_resetforms.moc"
