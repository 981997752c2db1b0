#pragma once

#include <QString>

#include <optional>
#include <vector>

namespace KOZAV::Host {

/// A company of the site, as the companies page shows it.
struct CompanyRow
{
    int id = 0;
    QString code;
    QString name;
    int jobCount = 0;    ///< jobs that were given a number
    int batchNumber = 0; ///< of its last batch; 0 where there was none
    QString heldBy;      ///< who has it for an import at the moment, in words; empty: nobody
};

/// The companies of the site that the services work on, in the order in which they were made; nothing, and
/// the reason, where they cannot be read. On any thread, as all of this header.
[[nodiscard]] std::optional<std::vector<CompanyRow>> listCompanyRows(QString& failure);

constexpr int longestCompanyCode = 32;  ///< characters
constexpr int longestCompanyName = 255; ///< characters

/// What of a company's code and name, as it is entered, would be refused whatever the site holds.
enum class CompanyFlaw { None, Code, Name };
[[nodiscard]] CompanyFlaw flawOfCompany(const QString& code, const QString& name);

/// Adds a company by the rules of "zav_admin company add". @return why it was not added; empty where it was
[[nodiscard]] QString addCompanyRow(const QString& code, const QString& name);

/// Gives a company another name, as "zav_admin company rename" does: not while an import holds it.
/// @return why it keeps its name; empty where it does not
[[nodiscard]] QString renameCompanyRow(const QString& code, const QString& newName);

} // namespace KOZAV::Host
