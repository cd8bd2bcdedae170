#pragma once

#include <QString>

/// Small things that several classes of the application share.
class common_funtion
{
public:
    /// Folder of the result file: beside the application-data folder of this
    /// user, named "CorvoUpgrade".  On Windows it lies in the roaming folder.
    static QString perUserFolder();

    /// The file that a path edit's text means.
    ///
    /// Quirk: a text that begins with "file" is taken for a URL and loses its first 8
    /// characters, whatever follows.  Dropped files arrive that way.
    static QString fileNameOf(const QString &editText);
};
