#pragma once

#include <QByteArray>
#include <QCache>
#include <QFile>
#include <QIODevice>

namespace freshen {

/// The archive inside a stored package, without the length that storePackage() writes before it.
///
/// A reader of ZIP archives finds most of them from the end of the file, whatever stands before. But an archive that
/// needs the ZIP64 records (PKWARE APPNOTE 4.3.14 and 4.3.15: for many entries or a large size) refers to them by their
/// position.
class StoredArchive : public QIODevice
{
public:
    /// The archive in the file \a path. A file that does not start with its own length is taken as a whole.
    explicit StoredArchive(const QString &path);

    ///@{
    /// See QIODevice. The device can only be read; position 0 is the archive's first byte.
    bool open(OpenMode mode) override;
    void close() override;
    bool seek(qint64 position) override;
    [[nodiscard]] qint64 size() const override;
    ///@}

protected:
    ///@{
    /// See QIODevice; nothing can be written.
    qint64 readData(char *data, qint64 maximum) override;
    qint64 writeData(const char *data, qint64 size) override;
    ///@}

private:
    /// The block of the file with this \a number, counted from 0; short where the file ends in it.
    const QByteArray &blockAt(qint64 number);

    QFile m_file;
    qint64 m_start = 0;
    /// The blocks used last. For each entry the reader goes back to the directory several times.
    QCache<qint64, QByteArray> m_blocks{4};
};

} // namespace freshen
