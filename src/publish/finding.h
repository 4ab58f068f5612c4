#pragma once

/// \file
/// What freshen-publish finds wrong with an index, a package or a server. Publishers, and the scripts they write, know
/// a kind of finding by its id, which never changes; docs/publishing.md tells of each what the updater does then, and
/// what to do.

#include <QString>

namespace freshen::publish {

/// How bad a finding is.
enum class Severity {
    /// Worth knowing; never counts.
    Note,
    /// Likely a slip; counts with --strict.
    Warning,
    /// Somebody's update fails, or somebody gets what was not meant for them.
    Error,
};

/// A kind of finding.
struct FindingKind
{
    /// Lower-case words with hyphens, unique.
    const char *id;
    /// How bad each of them is.
    Severity severity;
};

/// One thing found.
struct Finding
{
    /// Of which kind it is.
    FindingKind kind;
    /// What was found, as a sentence for the publisher.
    QString message;
    /// Where: a path below the document root, an entry in a package as "package.zip!entry", or an address.
    QString file;
    /// Line in the file, counted from 1; 0 where there is none.
    int line = 0;
    /// Column of the index line, counted from 1; 0 where there is none.
    int column = 0;

    /// Whether it always counts.
    [[nodiscard]] bool isError() const
    {
        return kind.severity == Severity::Error;
    }
};

} // namespace freshen::publish
