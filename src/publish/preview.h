#pragma once

/// \file
/// What an index means for those who read it: one line of text for each audience, so that a later preview can be
/// compared with what an earlier one wrote.

#include "publish/offers.h"
#include "publish/report.h"

#include <QJsonObject>

namespace freshen::publish {

/// What an index means for an audience.
struct Preview
{
    /// Who reads the index.
    Audience audience;
    /// What they are offered at first.
    Offer offer;
    /// Where one automatic update after the other leads.
    UpdatePath path;
};

/// What \a text, the text of an index, means for \a audience.
[[nodiscard]] Preview previewFor(const QString &text, const Audience &audience, const PackagedUpdater &packagedUpdater);

/// The same for each of \a audiences.
[[nodiscard]] QList<Preview> previewsFor(const QString &text, const QList<Audience> &audiences,
                                         const PackagedUpdater &packagedUpdater);

/// The columns of one line, with blanks between them:
///
/// - the updater's revision, the version of Windows;
/// - the user: "stable", "beta", "stable+test" or "beta+test";
/// - what the automatic mode installs, by revisions, with ">" between one update and the next and "..." where there is
///   no end; "again" where it installs what has the updater's own revision, and "none" where it fails;
/// - the revisions of the list, from the top down, with "," between them; "none" where it is empty.
[[nodiscard]] QString rowOf(const Preview &preview);

/// The same as an object.
[[nodiscard]] QJsonObject objectOf(const Preview &preview);

/// The audience of \a row, a line as rowOf() writes it; none where it is no such line.
[[nodiscard]] std::optional<Audience> audienceOf(const QString &row);

/// The findings of \a previews, of the index that is called \a file.
[[nodiscard]] QList<Finding> checkPreviews(const QList<Preview> &previews, const QString &file);

/// Shows all of \a previews.
void showPreviews(const QList<Preview> &previews, Report &report);

/// Shows in what \a now, after a change of the index, differs from \a before; both are of the same audiences.
void showChanges(const QList<Preview> &before, const QList<Preview> &now, Report &report);

} // namespace freshen::publish
