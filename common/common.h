#pragma once

#include <QByteArray>

#include <cstdio>

// What every screen shares: the instrument's fixed paths, the bootloader version that this build
// installs, and the console. Each source file gets its own copy of the constants; none is ever
// written. clazy:excludeall=non-pod-global-static

/// The log viewer's list of log files.
static const QByteArray logListFile = QByteArrayLiteral("/mnt/recovery/logFiles.txt");
/// Where each version partition leaves its manifest; ends with a slash.
static const QByteArray updateFilesDirectory = QByteArrayLiteral("/mnt/recovery/update_files/");
/// The user interface's host configuration: the local/remote IP address.
static const QByteArray hostConfigurationFile = QByteArrayLiteral("/home/tesk/cfg/teskuihost.conf");
/// The touch screen's calibration.
static const QByteArray touchCalibrationFile = QByteArrayLiteral("/etc/pointercal");
/// The bootloader that this release installs and expects, and the program's own version; a property
/// of the build, never read from the device.
static const QByteArray bootloaderVersion = QByteArrayLiteral("V4.05.00");
/// Read by nothing in the program: it lets the version be found in the binary itself.
[[gnu::used]] static const QByteArray bootloaderVersionTag
    = QByteArrayLiteral("BLVERSION:V4.05.00");

/// Prints one line on the console, which is the instrument's log, and flushes it. May be called
/// from any thread: the line is handed to the C stream in one piece, so lines never mix.
inline void printLine(const QByteArray &text)
{
    const QByteArray line = text + '\n';
    std::fwrite(line.constData(), 1, static_cast<std::size_t>(line.size()), stdout);
    std::fflush(stdout);
}
