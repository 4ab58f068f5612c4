#pragma once

/// \file
/// What the local server answers to a request (RFC 9112): GET and HEAD of files below the document root, with the
/// caching headers that publishers should use.

#include <QByteArray>
#include <QString>

namespace freshen::publish {

/// The head of an answer, and the file that is its body.
struct FileAnswer
{
    /// Status code (RFC 9110, 15).
    int status = 0;
    /// Path of the file; empty where the body is.
    QString file;
    /// Size of the file.
    qint64 size = 0;
    /// The file is a package.
    bool isPackage = false;
    /// The head alone is asked for.
    bool isHeadOnly = false;

    /// What goes out first, up to and with the empty line.
    [[nodiscard]] QByteArray head() const;
};

/// The answer to \a request, a request's head, from the files below \a root. No request leads to a file outside it, nor
/// to one in a hidden folder or with a hidden name.
[[nodiscard]] FileAnswer answerTo(const QByteArray &request, const QString &root);

} // namespace freshen::publish
