#pragma once

#include "terminal/CommandDescription.h"

#include <QByteArray>
#include <QString>

namespace KOZAV::Terminal {

/// What stands at head and foot of every page of a release.
struct ManEdition
{
    QString version; ///< "0.1.0"
    QString date;    ///< "2026-01-31"; may be empty
};

/// Writes the source of a manual page in the macros of man(7), line by line. Texts are plain: what roff would
/// take for its own is escaped, and options in a text stand out.
class ManPage final
{
public:
    /// @param name     of the page: "zav_admin"
    /// @param manual   what the section is called: "User Commands"
    /// @param summary  without a full stop
    ManPage(const QString& name, int section, const QString& manual, const QString& summary,
            const ManEdition& edition);

    void section(const QString& title);
    void subsection(const QString& title);
    void paragraph(const QString& text);
    /// A name and what it is.
    void term(const QString& name, const QString& text);
    /// What is typed, names of values in capitals, and what it does.
    void item(const QString& typed, const QString& text);
    /// One way to call a program; pieces are not torn.
    void synopsis(const QString& command, const QStringList& pieces);
    /// Lines as they stand.
    void literal(const QString& lines);
    /// The last section: pages as "zav_admin(1)".
    void seeAlso(const QStringList& pages);

    [[nodiscard]] QByteArray source() const { return m_source; }

private:
    void line(const QByteArray& macro, const QByteArray& arguments = {});
    void text(const QString& text);

    QByteArray m_source;
    bool m_isBelowHeading = false; ///< a paragraph begins there by itself
};

/// The page of a program, for section 1.
QByteArray manPageOf(const CommandDescription& program, const ManEdition& edition);

} // namespace KOZAV::Terminal
