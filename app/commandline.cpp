#include "app/commandline.h"

#include "common/common.h"

#include <QCommandLineParser>
#include <QCoreApplication>

#include <algorithm>
#include <iterator>

namespace {

struct Option
{
    const char *name;
    const char *description;
};

// "usbupdate" is what the program does anyway: it is accepted, and nothing asks for it.
constexpr Option options[] = {
    {"autoupdate", "Run teskupdater in Auto Update mode."},
    {"usbupdate", "Run teskupdater in USB Update mode."},
    {"rebootusbupdate", "Run teskupdater in Rebooted USB Update mode."},
    {"gobackupdate", "Run teskupdater in Go Back Update mode."},
    {"deadusbrebuild", "Run teskupdater in Dead System USB Rebuild mode."},
};

// What Qt takes off the command line itself: any application, one with windows, one with widgets,
// and the X11 platform.
constexpr const char *toolkitOptions[] = {
    "qmljsdebugger",
    "geometry",
    "icon",
    "platform",
    "platformpluginpath",
    "platformtheme",
    "plugin",
    "qwindowgeometry",
    "qwindowicon",
    "qwindowtitle",
    "reverse",
    "session",
    "testability",
    "title",
    "qdebug",
    "qdevel",
    "style",
    "stylesheet",
    "widgetcount",
    "display",
    "dograb",
    "name",
    "nograb",
    "visual",
};

/// Qt takes its options behind one dash or two, and the value of some behind "=".
bool isToolkitOption(const QString &argument)
{
    if (!argument.startsWith(QLatin1Char('-')))
        return false;
    const int dashes = argument.startsWith(QLatin1String("--")) ? 2 : 1;
    const QString name = argument.section(QLatin1Char('='), 0, 0).mid(dashes);
    return std::any_of(std::begin(toolkitOptions), std::end(toolkitOptions),
                       [&name](const char *option) { return name == QLatin1String(option); });
}

void addOptions(QCommandLineParser &parser)
{
    parser.addHelpOption();
    parser.addVersionOption();
    for (const Option &option : options)
        parser.addOption(
            {QString::fromLatin1(option.name), QString::fromLatin1(option.description)});
}

bool endsTheProgram(const QStringList &arguments)
{
    QCommandLineParser parser;
    addOptions(parser);
    return !parser.parse(arguments) || parser.isSet(QStringLiteral("help"))
        || parser.isSet(QStringLiteral("version"));
}

} // namespace

void processCommandLine(QCommandLineParser &parser)
{
    QCoreApplication::setApplicationName(QStringLiteral("teskupdater"));
    QCoreApplication::setApplicationVersion(QString::fromLatin1(bootloaderVersion));
    addOptions(parser);
    parser.process(QCoreApplication::arguments());
}

void answerWithoutDisplay(int argc, char **argv)
{
    QStringList arguments;
    for (int index = 0; index < argc; ++index)
        arguments += QString::fromUtf8(argv[index]); // the locale is not known yet, nor needed
    if (std::any_of(arguments.cbegin(), arguments.cend(), isToolkitOption)
        || !endsTheProgram(arguments))
        return;
    const QCoreApplication application(argc, argv);
    QCommandLineParser parser;
    processCommandLine(parser);
}
