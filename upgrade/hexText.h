#pragma once

#include <QByteArray>
#include <QString>

#include <array>
#include <cstddef>
#include <cstdint>

/// Bytes for the debug output: hexadecimal, without leading zeros, a blank before each.
QString hexText(const QByteArray &bytes);

template <std::size_t Size>
QString hexText(const std::array<std::uint8_t, Size> &bytes)
{
    return hexText(QByteArray(reinterpret_cast<const char *>(bytes.data()), Size));
}
