#pragma once

#include <QByteArray>
#include <QLoggingCategory>

#include <cstddef>
#include <cstdint>

/// Each target defines this: gives one input to a parser and checks the result. libFuzzer calls
/// it in the fuzz build, replay.cpp in the others.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size);

inline QByteArray bytesOf(const std::uint8_t *data, std::size_t size)
{
    return {reinterpret_cast<const char *>(data), static_cast<int>(size)};
}

/// Ends the program if the result is wrong.
inline void require(bool holds, const char *what)
{
    if (!holds)
        qFatal("Wrong: %s", what);
}

/// The parsers' debug output would bury the message.
inline const bool isQuiet = (QLoggingCategory::setFilterRules(QStringLiteral("*=false")), true);
