#pragma once

#include <QByteArray>
#include <QString>

/// Bytes for the debug output: hexadecimal, without leading zero, each preceded
/// by a blank.
QString hexText(const QByteArray &bytes);
