#pragma once

#include <QByteArray>
#include <QStringList>
#include <QTemporaryDir>

/// Stand-ins for the two tools of Windows that the updater starts, as long as it lives: xcopy.exe, found through PATH,
/// and explorer.exe, found through SYSTEMROOT. They are shell scripts, so they exist only where isAvailable() says so.
class SystemTools
{
public:
    SystemTools();
    ~SystemTools();
    Q_DISABLE_COPY(SystemTools)

    [[nodiscard]] static bool isAvailable();

    /// Lets xcopy.exe do \a script instead of copying; "$5" is the source, "$6" the destination.
    void setCopyScript(const QByteArray &script);
    /// Takes the shell away.
    void removeShell();

    /// The arguments that xcopy.exe was called with; empty while it was not.
    [[nodiscard]] QStringList copyArguments() const;
    /// The arguments that explorer.exe was called with; empty while it was not.
    [[nodiscard]] QStringList shellArguments() const;
    /// The path of explorer.exe.
    [[nodiscard]] QString shell() const;

private:
    QTemporaryDir m_folder;
    QByteArray m_path;
};
