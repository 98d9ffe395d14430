#pragma once

#include <QByteArray>

/// A log made up by dice: what logs hold, and what they hold after a power cut. The same for the
/// same @p seed everywhere. From nothing to 200 kB, most of them small.
QByteArray randomLog(quint32 seed);
