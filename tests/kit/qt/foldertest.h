#pragma once

#include "kit/qt/files.h"
#include "kit/qt/messagecatcher.h"
#include "kit/qt/platform.h"
#include "kit/qt/table.h"

#include <QRegularExpression>
#include <QTemporaryDir>

#include <filesystem>
#include <optional>

/// A test whose functions each have a folder of their own and collect what is logged.
class FolderTest : public QObject
{
    Q_OBJECT

protected:
    [[nodiscard]] QString folder() const
    {
        return m_folder->path();
    }
    /// The path of \a name in the folder.
    [[nodiscard]] QString file(const QString &name) const
    {
        return m_folder->filePath(name);
    }
    [[nodiscard]] MessageCatcher &log()
    {
        return *m_log;
    }
    /// Whether a warning says \a failure of \a path, and the system's reason.
    [[nodiscard]] bool isWarnedOf(const QString &failure, const QString &path) const
    {
        const QString begin = QRegularExpression::escape(failure + QLatin1Char(' ') + logged(path));
        return m_log->lines(QtWarningMsg).indexOf(QRegularExpression(begin + QLatin1String(".* - \".*"))) != -1;
    }

protected slots:
    void init()
    {
        m_folder.emplace();
        m_log.emplace();
    }
    void cleanup()
    {
        m_log.reset();
        // Otherwise folders stay that their owner may not look into.
        const std::filesystem::path top = std::filesystem::u8path(folder().toStdString());
        std::error_code error;
        for (const auto &entry : std::filesystem::recursive_directory_iterator(top, error)) {
            if (entry.symlink_status().type() == std::filesystem::file_type::directory)
                permissions(entry, std::filesystem::perms::owner_all, std::filesystem::perm_options::add, error);
        }
    }

private:
    std::optional<QTemporaryDir> m_folder;
    std::optional<MessageCatcher> m_log;
};
