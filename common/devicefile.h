#pragma once

#include <QIODevice>

class QFile;

// The files that the screens show come from an instrument in an unknown state.

/// Opens @p file for reading if it is an ordinary file or a link to one. Opening a pipe or reading
/// a device could keep the screen waiting for ever: both count as files that cannot be opened, as a
/// directory does.
bool openForReading(QFile &file, QIODevice::OpenMode mode = QIODevice::ReadOnly);
