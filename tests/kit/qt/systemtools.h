#pragma once

#include <QByteArray>
#include <QStringList>
#include <QTemporaryDir>

/// Stand-ins for the two tools of Windows that the updater starts, as long as it lives: xcopy.exe, found in the
/// system's folder, or natively through PATH, and explorer.exe, found through SYSTEMROOT. Both are copies of the
/// program systemtool. The system's folder is a temporary one; the test's own systemFolder() wins over the program's.
class SystemTools
{
public:
    SystemTools();
    ~SystemTools();
    Q_DISABLE_COPY(SystemTools)

    /// Makes \a path another stand-in, which does nothing but note that it is called.
    static void place(const QString &path);
    /// Lets xcopy.exe do what the lines of \a plan say (systemtool.cpp lists the steps) instead of copying.
    void setCopyPlan(const QByteArray &plan);
    /// Takes the shell away.
    void removeShell();

    /// Whether the stand-in called \a name was started, wherever it lies.
    [[nodiscard]] bool isCalled(const QString &name) const;
    /// The arguments that xcopy.exe was called with; empty while it was not.
    [[nodiscard]] QStringList copyArguments() const;
    /// The arguments that explorer.exe was called with; empty while it was not.
    [[nodiscard]] QStringList shellArguments() const;
    /// The path of explorer.exe, with native separators.
    [[nodiscard]] QString shell() const;

private:
    [[nodiscard]] QString pathOf(const QString &name) const;
    [[nodiscard]] QStringList calledWith(const QString &name) const;

    QTemporaryDir m_folder;
    QByteArray m_path;
    QByteArray m_systemRoot;
};
