#pragma once

#include <QByteArray>

/// Ends the fuzzer with what is wrong, unless @p isRight; the input is then kept as a finding.
inline void expect(bool isRight, const char *promise)
{
    if (!isRight)
        qFatal("not so: %s", promise);
}

/// The fuzzer's input, which lives as long as the call that it is handed to.
inline QByteArray inputBytes(const unsigned char *data, std::size_t size)
{
    return QByteArray::fromRawData(reinterpret_cast<const char *>(data), static_cast<int>(size));
}
