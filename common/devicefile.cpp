#include "common/devicefile.h"

#include <QFile>
#include <QFileInfo>

bool openForReading(QFile &file, QIODevice::OpenMode mode)
{
    return QFileInfo(file).isFile() && file.open(mode);
}
