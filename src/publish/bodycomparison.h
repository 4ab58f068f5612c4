#pragma once

/// \file
/// Compares what comes from a server with the local file, piece by piece.

#include "publish/serveranswer.h"

#include <QFile>

namespace freshen::publish {

/// Compares one body with one file. Neither is ever in memory as a whole.
class BodyComparison
{
public:
    /// \a path is that of the local file.
    explicit BodyComparison(const QString &path);

    /// The file can be read; without that nothing differs.
    [[nodiscard]] bool isPossible() const;
    /// Takes the next piece of the body. False as soon as it differs.
    [[nodiscard]] bool take(const QByteArray &piece);
    /// How the body, which has come as a whole, differs from the file; nothing where it does not.
    [[nodiscard]] std::optional<Difference> difference() const;

private:
    QFile m_file;
    qint64 m_same = 0;
    bool m_isDifferent = false;
};

} // namespace freshen::publish
