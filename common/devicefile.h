#pragma once

#include <QIODevice>

class QFile;

// The files that the screens show come from an instrument in an unknown state.

/// Opens @p file for reading if it can be read to its end without waiting: an ordinary file, the
/// null device, or a link to one. A pipe, another device, or a file of the kernel's that has no end
/// or waits for something to happen counts as a file that cannot be opened, as a directory does,
/// and so does one that is a megabyte short of 2^30 bytes: Qt's texts end at as many characters.
bool openForReading(QFile &file, QIODevice::OpenMode mode = QIODevice::ReadOnly);
