#pragma once

class QByteArray;
class QString;

namespace freshen {

/// Tells folders apart, whatever path leads to them: two paths with the same identity, through links and junctions too,
/// lead to the same folder. Empty where there is no such folder.
[[nodiscard]] QByteArray folderIdentity(const QString &path);

} // namespace freshen
