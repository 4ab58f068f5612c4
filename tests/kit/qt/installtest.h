#pragma once

#include "install/diskspace.h"
#include "kit/qt/files.h"
#include "kit/qt/windowtest.h"

/// Base of the tests of the installation: an old installation in a folder with a blank in its name, a window that
/// offers the installation of an unpacked package, and stand-ins for the two programs of Windows that the updater
/// starts. xcopy.exe is found in the system's folder, or natively through PATH, and explorer.exe through SYSTEMROOT;
/// both are copies of the program systemtool.
class InstallTest : public WindowTest
{
    Q_OBJECT

public:
    /// The space that the system tells of; by itself, it tells of none.
    static inline std::optional<freshen::DiskSpace> diskSpace;

protected:
    using Files = QMap<QString, QByteArray>;

    std::optional<TestWindow> m_window;

    /// Lays out \a files in the installation, and nothing else.
    void install(const Files &files);
    /// Presses the button of the window. Returns whether the updater ended and the shell was started.
    [[nodiscard]] bool installs();

    [[nodiscard]] QString destination() const
    {
        return m_folder->filePath("old installation");
    }
    /// Everything in the installation.
    [[nodiscard]] Files installed() const
    {
        return treeOf(destination());
    }
    /// The batch file beside the program.
    [[nodiscard]] static QString batchFile()
    {
        return QCoreApplication::applicationDirPath() + "/copyBatch.bat";
    }
    /// The path of \a name in the folder of the stand-ins.
    [[nodiscard]] QString toolFile(const QString &name) const
    {
        return m_folder->filePath("tools/" + name);
    }
    /// The arguments that the stand-in \a name was called with; empty while it was not.
    [[nodiscard]] QStringList callOf(const QString &name) const;

protected slots:
    void init();
    void cleanup();

private:
    const QByteArray m_path = qgetenv("PATH");
    const QString m_systemRoot = qEnvironmentVariable("SYSTEMROOT");
    std::optional<QTemporaryDir> m_folder;
};
