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
        namespace fs = std::filesystem;
        std::error_code error;
        fs::recursive_directory_iterator entry(fs::u8path(folder().toStdString()), error);
        for (; !error && entry != fs::recursive_directory_iterator(); entry.increment(error)) {
            if (fs::is_directory(entry->symlink_status(error)))
                fs::permissions(entry->path(), fs::perms::owner_all, fs::perm_options::add, error);
        }
    }

private:
    std::optional<QTemporaryDir> m_folder;
    std::optional<MessageCatcher> m_log;
};
