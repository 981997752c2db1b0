#pragma once

#include <QString>
#include <QTextStream>

namespace KOZAV::Host {

class SiteAccess;
struct Foreseen;

struct CheckOptions
{
    QString directory;       ///< absolute path of the batch directory
    bool json = false;       ///< one JSON document, not tables
    bool allowLinks = false; ///< links that lead out of the directory would be imported
};

/// Prints what would become of a batch directory, entry by entry, and changes nothing at the site and in the
/// directory.
class CheckRun final
{
public:
    /// @param out       takes what is found
    /// @param messages  takes what is told meanwhile, and why nothing can be looked at; may be out
    CheckRun(const SiteAccess& site, CheckOptions options, QTextStream& out, QTextStream& messages);

    /// A signal that ends programs ends the look: what was found by then is printed, and the rest told as
    /// not looked at.
    /// @return exit code: 0 where all would be imported, 1 where not, or that is not known, 2 where the
    /// directory is none; then nothing is printed; that of the signal where one came
    int run();

private:
    [[nodiscard]] bool look(Foreseen& foreseen);
    static void tellStop(Foreseen& foreseen);
    void printTables(const Foreseen& foreseen);
    void printRest(const Foreseen& foreseen);
    void printJson(const Foreseen& foreseen, int exitCode);

    const SiteAccess& m_site;
    CheckOptions m_options;
    QTextStream& m_out;
    QTextStream& m_messages;
};

} // namespace KOZAV::Host
