#pragma once

#include <QByteArray>
#include <QString>

#include <vector>

class QIODevice;

/// Writes a zip archive whose entries are not compressed: up to 65535 of them, and 4 GiB in all.
class ZipFile
{
public:
    /// @param target  open for writing, and one that can be sought in; outlives this object
    explicit ZipFile(QIODevice& target);

    /// Adds a folder with all that is in it, by names from the folder on.
    /// @return why that is not possible; empty where it is
    QString addFolder(const QString& folder);
    /// Ends the archive. @return as addFolder()
    QString finish();

private:
    struct Entry
    {
        QByteArray name;
        quint32 crc;
        quint32 size;
        quint32 offset;
    };

    QString addFile(const QString& path, const QByteArray& name);
    [[nodiscard]] static QByteArray fields(const Entry& entry);
    void write(const QByteArray& bytes);

    QIODevice& m_target;
    std::vector<Entry> m_entries;
    bool m_isWhole = true; ///< all has been written
};
