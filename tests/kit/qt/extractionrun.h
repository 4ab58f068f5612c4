#pragma once

#include "download/extraction.h"

#include <QByteArray>
#include <QMap>
#include <QStringList>

#include <functional>

/// All that can be seen of one extraction, to be compared with what was expected or with another one.
struct ExtractionRun
{
    bool succeeded = false;
    QString errorText;
    /// All messages that were logged.
    QStringList messages;
    /// The calls of the observer, in order: "started 2", "before", "entry 1", ...
    QStringList steps;
    /// What the target folder holds.
    QMap<QString, QByteArray> tree;
    bool archiveIsLeft = false;

    /// One text of everything but the files' contents.
    [[nodiscard]] QString describe() const;
    [[nodiscard]] bool operator==(const ExtractionRun &other) const;
};

/// The signature of extractPackage().
using Extraction =
    std::function<freshen::ExtractionResult(const QString &, const QString &, const freshen::ExtractionObserver &)>;

/// Stores \a package in a folder of its own, beside an empty target folder, and runs \a extraction on it.
[[nodiscard]] ExtractionRun runExtraction(const QByteArray &package,
                                          const Extraction &extraction = freshen::extractPackage);

/// The same below the existing folder \a folder: the archive is "Package.zip", the target folder "out", which is left
/// as it is.
[[nodiscard]] ExtractionRun runExtractionIn(const QString &folder, const QByteArray &package,
                                            const Extraction &extraction = freshen::extractPackage);
