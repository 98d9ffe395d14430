#include "audit/textfile.h"

#include <QBuffer>
#include <QTextCodec>
#include <QTextStream>

QString decodeText(const QByteArray &content, bool withoutReturns)
{
    QBuffer buffer;
    buffer.setData(content);
    buffer.open(withoutReturns ? QIODevice::ReadOnly | QIODevice::Text : QIODevice::ReadOnly);
    QTextStream stream(&buffer);
    stream.setCodec("UTF-8");
    return stream.readAll();
}

bool isUtf8(const QByteArray &content)
{
    QTextCodec::ConverterState state;
    QTextCodec::codecForName("UTF-8")->toUnicode(content.constData(), content.size(), &state);
    return state.invalidChars == 0 && state.remainingChars == 0;
}
