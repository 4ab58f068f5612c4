#pragma once

/// \file
/// What becomes of an audience's updates, as one line of text: the output of a preview is what a later one can be
/// compared with.

#include "publish/offers.h"

#include <QJsonObject>

namespace freshen::publish {

/// What an index means for an audience.
struct Prospect
{
    /// Who reads the index.
    Audience audience;
    /// What they are offered at first.
    Offer offer;
    /// Where one automatic update after the other leads.
    UpdatePath path;
};

/// What \a text, the text of an index, means for \a audience.
[[nodiscard]] Prospect prospectFor(const QString &text, const Audience &audience,
                                   const PackagedUpdater &packagedUpdater);

/// The same for each of \a audiences.
[[nodiscard]] QList<Prospect> prospectsFor(const QString &text, const QList<Audience> &audiences,
                                           const PackagedUpdater &packagedUpdater);

/// The heads of the columns of rowOf().
[[nodiscard]] QString prospectHeader();

/// The columns of one line, with blanks between them:
///
/// - the updater's revision, the version of Windows;
/// - the user: "stable", "beta", "stable+test" or "beta+test";
/// - what the automatic mode installs, by revisions, with ">" between one update and the next and "..." where there is
///   no end; "again" where it installs what has the updater's own revision, and "none" where it fails;
/// - the revisions of the list, from the top down, with "," between them; "none" where it is empty.
[[nodiscard]] QString rowOf(const Prospect &prospect);

/// The same as an object.
[[nodiscard]] QJsonObject objectOf(const Prospect &prospect);

/// The audience of \a row, a line as rowOf() writes it; none where it is no such line.
[[nodiscard]] std::optional<Audience> audienceOf(const QString &row);

/// The findings of \a prospects, of the index that is called \a file.
[[nodiscard]] QList<Finding> checkProspects(const QList<Prospect> &prospects, const QString &file);

} // namespace freshen::publish
