#include "tests/support/commandline.h"
#include "tests/support/instrument.h"
#include "ui_mainwindow.h"

#include "app/mainwindow.h"

#include <QFrame>
#include <QLabel>
#include <QMetaProperty>
#include <QProgressBar>
#include <QPushButton>
#include <QScreen>

#include <memory>

/// What each widget of the form is, and each property that is not as the toolkit makes it.
class TestMainWindowForm : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase();
    void widgets();
    void properties_data();
    void properties();
    void cleanupTestCase();

private:
    QMainWindow *bare = nullptr; ///< Just the form.
    MainWindow *program = nullptr; ///< The form with the program behind it.
};

struct WidgetRow
{
    const char *name;
    const char *className;
    const char *parent;
};

// In the order in which they are made.
static constexpr WidgetRow widgetRows[] = {
    {"centralWidget", "QWidget", "MainWindow"},
    {"USBbtn", "QPushButton", "centralWidget"},
    {"messageFrm", "QFrame", "centralWidget"},
    {"pbuttonUtils", "QPushButton", "centralWidget"},
    {"pbuttonVersions", "QPushButton", "centralWidget"},
    {"progressMsg", "QLabel", "centralWidget"},
    {"progressBar", "QProgressBar", "centralWidget"},
    {"usbLabel", "QLabel", "centralWidget"},
    {"pbuttonBackupSettings", "QPushButton", "centralWidget"},
    {"lblUSBBackup", "QLabel", "centralWidget"},
    {"version_number", "QLabel", "centralWidget"},
    {"ETHbtn", "QPushButton", "centralWidget"},
    {"update_title", "QLabel", "centralWidget"},
    {"messages", "QLabel", "messageFrm"},
};

static const char windowStyle[]
    = "##QPushButton#USBbtn {border-width: 5px; border-color: #B6B6B6; border-style: ridge}\n"
      "##QPushButton#USBbtn:pressed {border-width: 5px; border-style: inset; background-color: "
      "gray;}\n"
      "##QPushButton#pbuttonBackupSettings {border-width: 5px; border-color: #B6B6B6; "
      "border-style: ridge}\n"
      "##QPushButton#pbuttonBackupSettings:pressed {border-width: 5px; border-style: inset; "
      "background-color: gray;}\n"
      "##QPushButton#pbuttonUtils {border-width: 5px; border-color: #B6B6B6; border-style: "
      "ridge}\n"
      "##QPushButton#pbuttonUtils:pressed {border-width: 5px; border-style: inset; "
      "background-color: gray;}\n"
      "##QPushButton#pbuttonVersions {border-width: 5px; border-color: #B6B6B6; border-style: "
      "ridge}\n"
      "##QPushButton#pbuttonVersions:pressed {border-width: 5px; border-style: inset; "
      "background-color: gray;}\n"
      "##QPushButton {border-width: 5px; border-color: lightgray; border-style: outset; "
      "background-color: #F6F6F6;}";

struct PropertyRow
{
    const char *widget;
    const char *property;
    QVariant value;
    QVariant atStart = {}; ///< What the program makes of it at once, if it does.
};

static constexpr int any = QWIDGETSIZE_MAX;
static constexpr int centredAtTop = int(Qt::AlignHCenter | Qt::AlignTop);
static constexpr int centredAtBottom = int(Qt::AlignHCenter | Qt::AlignBottom);

static const PropertyRow propertyRows[] = {
    {"MainWindow", "minimumSize", QSize(800, 480)},
    {"MainWindow", "maximumSize", QSize(1280, 800)},
    {"MainWindow", "size", QSize(800, 480)},
    {"MainWindow", "windowTitle", "MainWindow"},
    {"MainWindow", "styleSheet", windowStyle},
    {"centralWidget", "styleSheet", "##background-color: rgb(85, 255, 255);\n"},
    {"update_title", "text", "Initializing:"},
    {"update_title", "alignment", centredAtTop},
    {"update_title", "wordWrap", true},
    {"update_title", "margin", 10},
    {"messageFrm", "frameShape", int(QFrame::StyledPanel)},
    {"messageFrm", "frameShadow", int(QFrame::Raised)},
    {"messageFrm", "maximumSize", QSize(200, any)},
    {"messages", "text", "Messages"},
    {"messages", "maximumSize", QSize(247, any)},
    {"messages", "frameShape", int(QFrame::NoFrame)},
    {"messages", "lineWidth", 2},
    {"messages", "alignment", centredAtTop},
    {"messages", "wordWrap", true},
    {"ETHbtn", "text", ""},
    {"ETHbtn", "enabled", false},
    {"ETHbtn", "minimumSize", QSize(200, 100)},
    {"ETHbtn", "flat", true},
    {"progressMsg", "text", "This will take a few minutes."},
    {"progressMsg", "alignment", centredAtTop},
    {"progressMsg", "wordWrap", true},
    {"progressMsg", "margin", 0},
    {"usbLabel", "text", "No USB storage detected!", "Checking for \nUSB storage device"},
    {"usbLabel", "enabled", true},
    {"usbLabel", "alignment", centredAtBottom},
    {"usbLabel", "wordWrap", true},
    {"progressBar", "minimum", 0},
    {"progressBar", "maximum", 100},
    {"progressBar", "value", 24},
    {"USBbtn", "text", "USB"},
    {"USBbtn", "enabled", true, false},
    {"USBbtn", "minimumSize", QSize(200, 100)},
    {"USBbtn", "flat", false},
    {"USBbtn", "styleSheet", ""},
    {"pbuttonUtils", "text", "Support\nTools"},
    {"pbuttonUtils", "enabled", true, false},
    {"pbuttonUtils", "minimumSize", QSize(0, 90)},
    {"pbuttonUtils", "maximumSize", QSize(any, 150)},
    {"pbuttonVersions", "text", "Versions"},
    {"pbuttonVersions", "enabled", true, false},
    {"pbuttonVersions", "maximumSize", QSize(any, 150)},
    {"pbuttonBackupSettings", "text", ">>|<<"},
    {"pbuttonBackupSettings", "enabled", true, false},
    {"pbuttonBackupSettings", "minimumSize", QSize(80, 0)},
    {"pbuttonBackupSettings", "focusPolicy", int(Qt::NoFocus)},
    {"pbuttonBackupSettings", "checkable", false, true},
    {"lblUSBBackup", "text", "Restore Settings\nAfter Install\nNot Enabled",
     "<html><head/><body>Restore Settings<br>After Install<br><b>Not Enabled</b></body></html>"},
    {"version_number", "text", "Bootloader:\nV4.05.00"},
    {"version_number", "enabled", true},
    {"version_number", "frameShape", int(QFrame::NoFrame)},
    {"version_number", "alignment", centredAtBottom},
    {"version_number", "wordWrap", true},
};

static QWidget *widgetOf(QMainWindow *window, const char *name)
{
    const QString text = QString::fromLatin1(name);
    return window->objectName() == text ? window : window->findChild<QWidget *>(text);
}

void TestMainWindowForm::initTestCase()
{
    Instrument::clear();
    bare = new QMainWindow;
    Ui::MainWindow().setupUi(bare);
    program = new MainWindow;
}

void TestMainWindowForm::cleanupTestCase()
{
    delete program;
    delete bare;
}

/// The form's own widgets: those of the toolkit inside them have names of its own or none.
static QStringList ownWidgets(const QWidget *parent)
{
    QStringList lines;
    for (const QObject *child : parent->children()) {
        if (child->isWidgetType() && !child->objectName().startsWith(QLatin1String("qt_")))
            lines += QStringLiteral("%1 %2").arg(
                QString::fromLatin1(child->metaObject()->className()), child->objectName());
    }
    return lines;
}

void TestMainWindowForm::widgets()
{
    for (QMainWindow *window : {bare, static_cast<QMainWindow *>(program)}) {
        QMap<QString, QStringList> expected;
        for (const WidgetRow &row : widgetRows)
            expected[QString::fromLatin1(row.parent)] += QStringLiteral("%1 %2").arg(
                QString::fromLatin1(row.className), QString::fromLatin1(row.name));
        for (auto children = expected.begin(); children != expected.end(); ++children)
            QCOMPARE(ownWidgets(widgetOf(window, children.key().toLatin1())), children.value());
        QCOMPARE(window->centralWidget(), widgetOf(window, "centralWidget"));
    }
}

/// A widget of the same class as the toolkit makes it.
static std::unique_ptr<QWidget> plainWidget(const QByteArray &className)
{
    if (className == "QPushButton")
        return std::make_unique<QPushButton>();
    if (className == "QLabel")
        return std::make_unique<QLabel>();
    if (className == "QProgressBar")
        return std::make_unique<QProgressBar>();
    if (className == "QFrame")
        return std::make_unique<QFrame>();
    if (className == "QWidget")
        return std::make_unique<QWidget>();
    return std::make_unique<QMainWindow>();
}

/// A property's value in a form that can be compared; invalid for what has none, or stands
/// elsewhere in these tests.
static QVariant comparable(const QObject *object, const QMetaProperty &property)
{
    static const QByteArrayList elsewhere
        = {"objectName",    "minimumWidth", "minimumHeight", "maximumWidth",
           "maximumHeight", "visible",      "mouseTracking"};
    if (!property.isWritable() || elsewhere.contains(property.name()))
        return {};
    const QVariant value = property.read(object);
    if (property.isEnumType())
        return value.toInt();
    const QByteArrayList types = {"bool", "int", "double", "QString", "QSize"};
    return types.contains(property.typeName()) ? value : QVariant();
}

void TestMainWindowForm::properties_data()
{
    QTest::addColumn<QByteArray>("name");
    QTest::newRow("MainWindow") << QByteArray("MainWindow");
    for (const WidgetRow &row : widgetRows)
        QTest::newRow(row.name) << QByteArray(row.name);
}

void TestMainWindowForm::properties()
{
    QFETCH(QByteArray, name);
    QMap<QByteArray, QVariant> stated;
    QMap<QByteArray, QVariant> atStart;
    for (const PropertyRow &row : propertyRows) {
        if (name != row.widget)
            continue;
        stated[row.property] = row.value;
        atStart[row.property] = row.atStart.isValid() ? row.atStart : row.value;
    }
    if (name == "MainWindow")
        atStart["minimumSize"] = atStart["maximumSize"] = atStart["size"]
            = QGuiApplication::primaryScreen()->geometry().size();
    for (QMainWindow *window : {bare, static_cast<QMainWindow *>(program)}) {
        const QWidget *widget = widgetOf(window, name);
        const QMetaObject *meta
            = window == widget ? &QMainWindow::staticMetaObject : widget->metaObject();
        const std::unique_ptr<QWidget> plain = plainWidget(meta->className());
        const auto &expected = window == bare ? stated : atStart;
        int compared = 0;
        for (int i = 0; i < meta->propertyCount(); ++i) {
            const QMetaProperty property = meta->property(i);
            const QVariant seen = comparable(widget, property);
            if (!seen.isValid() || (window != widget && qstrcmp(property.name(), "size") == 0))
                continue;
            const QVariant value
                = expected.value(property.name(), comparable(plain.get(), property));
            if (seen != value)
                qWarning() << property.name() << seen << "instead of" << value;
            QVERIFY2(seen == value, property.name());
            compared += expected.contains(property.name()) ? 1 : 0;
        }
        QCOMPARE(compared, expected.size()); // every row of the table was met
    }
}

int main(int argc, char **argv) { return CommandLine::run<TestMainWindowForm>(argc, argv); }
#include "tst_mainwindowform.moc"
