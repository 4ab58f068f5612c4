#pragma once

#include "kit/qt/systemtools.h"
#include "kit/qt/windowtest.h"

#include <QMap>

/// Base of the tests of the installation: the system's tools, an old installation in a folder with a blank in its name,
/// and windows whose package has been unpacked.
class InstallTest : public WindowTest
{
    Q_OBJECT

protected:
    void prepare() override;
    void tidyUp() override;

    /// Lays out \a files in the installation, beside nothing else.
    void install(const QMap<QString, QByteArray> &files);
    /// Lays out \a files in the folder "out" of \a window, leaves it a hand-over file, and offers the installation.
    void unpack(TestWindow &window,
                const QMap<QString, QByteArray> &files = {{QStringLiteral("Tavlopro/Tavlopro.exe"), "new"}});
    /// Everything in the installation.
    [[nodiscard]] QMap<QString, QByteArray> installed() const;
    /// The path of the installation.
    [[nodiscard]] QString destination() const;
    /// The same with native separators.
    [[nodiscard]] QString nativeDestination() const;
    /// The log line of an installation in \a folder without an executable.
    [[nodiscard]] static QString testpaths(const QString &folder);
    /// The batch file beside the program.
    [[nodiscard]] static QString batchFile();

    std::unique_ptr<SystemTools> tools;

private:
    std::unique_ptr<QTemporaryDir> m_folder;
};
