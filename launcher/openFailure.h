#pragma once

#include <QString>

/// Why the operating system does not let this process open a device that is there,
/// and what its user can do about it: a sentence or two, without a first capital.
///
/// `path` is what hid_open_path() has just refused, in the same thread.  It is not
/// opened once more; what is said is a likely cause, for it may have changed since.
QString openFailure(const char *path);
