#pragma once

#include <functional>
#include <string>

/// Sees every call of this process that makes, changes or removes something on disk: the system's functions are
/// replaced by ones that tell the observer first and then do the same. So a target notices a change wherever it would
/// happen, not only in the folders that it looks at.

/// What a call is about to do to a path.
enum class Change {
    /// A file is opened for writing, or its permissions, its size or its times change.
    Write,
    /// A folder or a link is made.
    Make,
    RemoveFile,
    RemoveFolder,
    /// A file gets another name; both names are told.
    Rename,
};

/// Told of each change before it happens, with the path as the caller gave it.
using FileObserver = std::function<void(Change, const std::string &path)>;

/// Runs \a action while \a observer is told of its changes. Ends the process at once if the system's functions turn out
/// not to be replaced.
void watchFiles(const FileObserver &observer, const std::function<void()> &action);
