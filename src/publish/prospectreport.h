#pragma once

/// \file
/// How a command shows what becomes of updates.

#include "publish/prospect.h"
#include "publish/report.h"

namespace freshen::publish {

/// Shows \a prospects, all of them.
void showProspects(const QList<Prospect> &prospects, Report &report);

/// Shows in what \a now, after a change of the index, differs from \a before; both are of the same audiences.
void showChanges(const QList<Prospect> &before, const QList<Prospect> &now, Report &report);

} // namespace freshen::publish
