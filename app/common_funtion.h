#pragma once

#include <QString>

/// Small things that several classes of the application share.
class common_funtion
{
public:
    /// The name of the file in a path edit.
    ///
    /// Quirk: a text that begins with "file" is taken for a URL and loses its first 8
    /// characters, even if something else follows.  Dropped files arrive as a URL.
    static QString fileNameOf(const QString &editText);
};
