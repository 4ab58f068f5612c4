#pragma once

/// \file
/// Tells somebody at a terminal how far a long work is. In a pipe, and for what is done within a second, it says
/// nothing.

#include <QElapsedTimer>
#include <QString>

namespace freshen::publish {

/// A bar on standard error, from its construction to its destruction, which leaves nothing of it.
class ProgressBar
{
public:
    /// \a label says what is done, and \a total how much there is to do. Nothing is ever shown unless \a isWanted.
    ProgressBar(QString label, qint64 total, bool isWanted = true);
    ~ProgressBar();
    Q_DISABLE_COPY(ProgressBar)

    /// \a value of the total is done.
    void set(qint64 value);

private:
    QString m_label;
    qint64 m_total;
    bool m_isWatched;
    QElapsedTimer m_sinceStart;
    qint64 m_nextDrawing;
    qsizetype m_drawn = 0;
};

/// The bar as it is drawn in one line: \a label, and how much \a value is of \a total. A value beyond is drawn as all
/// of it, and so is any value of nothing.
[[nodiscard]] QString progressLine(const QString &label, qint64 value, qint64 total);

} // namespace freshen::publish
