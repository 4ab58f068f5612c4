#pragma once

class QFile;

/// A writer's turn at the end of a file that other processes add to as well. While it lasts, what is written goes to
/// the end of the file, and no line of another writer that takes turns comes in between.
class AppendTurn
{
public:
    /// Waits for the turn, for some seconds at most; after that the text goes to the end all the same. \a file is open
    /// for appending and outlives the turn, which ends after all has been written to the system.
    explicit AppendTurn(QFile &file);
    ~AppendTurn();
    AppendTurn(const AppendTurn &) = delete;
    AppendTurn &operator=(const AppendTurn &) = delete;

private:
    [[maybe_unused]] QFile &m_file;
    [[maybe_unused]] bool m_isLocked = false;
};
