#pragma once

#include <QDialog>
#include <QString>

#include <utility>
#include <vector>

namespace KOZAV::Host {

class SiteAccess;

/// Versions of what the client is made of and works with, and the places where things lie: what somebody is
/// asked for who reports a fault. It can be copied as text.
class AboutDialog final : public QDialog
{
    Q_OBJECT
public:
    /// Asks the site nothing: what is shown was known before.
    /// @param logFile  absolute path; empty where there is none
    AboutDialog(const SiteAccess& site, const QString& logFile, QWidget* parent = nullptr);

    /// A line for each fact.
    [[nodiscard]] QString text() const;

private:
    void addVersions(const SiteAccess& site);
    void addPlaces(const SiteAccess& site, const QString& logFile);
    void add(const QString& what, const QString& value);
    void buildLayout();

    std::vector<std::pair<QString, QString>> m_facts;
};

} // namespace KOZAV::Host
