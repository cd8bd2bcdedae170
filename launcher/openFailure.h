#pragma once

#include <QString>

/// The likely reason why a device cannot be opened, and what the user can do about it:
/// sentences, but the first one starts in lower case.
///
/// Call it after hid_open_path() has failed for `path`, on the same thread. It does not open the
/// device again.
QString openFailure(const char *path);
