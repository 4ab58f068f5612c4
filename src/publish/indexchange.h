#pragma once

/// \file
/// What all commands have in common that change the index: the lock, the check of the new index, the packages that come
/// before it, and the difference that it makes.

#include "publish/command.h"
#include "publish/index.h"
#include "publish/packagecopies.h"
#include "publish/rootlock.h"

#include <optional>

namespace freshen::publish {

/// The option of those commands that errors stand against.
[[nodiscard]] QCommandLineOption forceOption();

/// One change of the index. Until finish() nothing is changed, and after it all of it is.
class IndexChange
{
public:
    /// A change by the command that \a context belongs to.
    explicit IndexChange(Context &context) : m_context(context), m_lock(context.root.folder) {}

    /// Locks the folder and reads the index. Returns how the command ends where it cannot.
    [[nodiscard]] std::optional<ExitCode> begin();
    /// The same, and finds the \a lines with the revision which is the command's argument. Without any it cannot,
    /// either.
    [[nodiscard]] std::optional<ExitCode> beginWith(QList<IndexLine> &lines);
    /// As begin(), for a folder that has no index yet.
    [[nodiscard]] std::optional<ExitCode> beginNew();
    /// The index before the change.
    [[nodiscard]] const Index &index() const
    {
        return m_index;
    }

    /// Takes up what is wrong with \a bytes, the new index, by its errors and by the findings of line \a number; 0
    /// stands for no line.
    void check(const QByteArray &bytes, int number);
    /// Whether the change may be made: all that counts so far stands against it, unless the user insists.
    [[nodiscard]] bool isAcceptable() const;
    /// Makes \a copies, and then \a bytes the index. Says who gets something else now. Returns how the command ends.
    [[nodiscard]] ExitCode finish(const QByteArray &bytes, const QList<PackageCopy> &copies = {});

private:
    [[nodiscard]] std::optional<ExitCode> lock();
    [[nodiscard]] ExitCode write(const QByteArray &bytes, const QList<PackageCopy> &copies);
    [[nodiscard]] bool isUnchanged() const;
    void showDifference(const QByteArray &bytes) const;

    Context &m_context;
    RootLock m_lock;
    Index m_index;
    bool m_isNew = false;
};

} // namespace freshen::publish
