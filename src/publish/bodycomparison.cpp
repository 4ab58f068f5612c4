#include "publish/bodycomparison.h"

#include <algorithm>

namespace freshen::publish {

BodyComparison::BodyComparison(const QString &path) : m_file(path)
{
    // isPossible() tells a failure.
    static_cast<void>(m_file.open(QIODevice::ReadOnly));
}

bool BodyComparison::isPossible() const
{
    return m_file.isOpen();
}

bool BodyComparison::take(const QByteArray &piece)
{
    if (m_isDifferent || !isPossible())
        return !isPossible();
    const QByteArray local = m_file.read(piece.size());
    const auto *const firstOther = std::mismatch(piece.begin(), piece.end(), local.begin(), local.end()).first;
    m_same += firstOther - piece.begin();
    m_isDifferent = firstOther != piece.end();
    return !m_isDifferent;
}

std::optional<Difference> BodyComparison::difference() const
{
    if (!isPossible() || (!m_isDifferent && m_same == m_file.size()))
        return std::nullopt;
    return Difference{m_same, m_file.size()};
}

} // namespace freshen::publish
