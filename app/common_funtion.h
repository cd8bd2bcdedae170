#pragma once

#include <QString>

/// Reads the file name from a path edit. Other programs know the class name.
class common_funtion
{
public:
    /// The name of the file in a path edit.
    ///
    /// Quirk: a text that begins with "file" is taken for a URL and loses its first 8
    /// characters, even if it is none. Dropped files arrive as a URL.
    static QString fileNameOf(const QString &editText);
};
