#pragma once

#include <QString>
#include <QVariant>

#include <memory>

class QSettings;

namespace KOZAV::Host {

/// What the client remembers of its user from one start to the next: places and sizes, columns, the language,
/// where dialogs were last. It lies in the user's own configuration folder, "zav_client" in $XDG_CONFIG_HOME
/// or
/// ~/.config, never beside the site. Only a program that has called keep() reads and writes it: for any other
/// there is nothing remembered, and what it sets is dropped, so that an unattended run touches none of it.
class ClientState final
{
public:
    /// Has this program read and write what is remembered from now on.
    static void keep();
    [[nodiscard]] static bool isKept();

    /// Of all sites together.
    [[nodiscard]] static ClientState general();
    /// Of one site.
    /// @param siteId  identity of the site; may be any text, but not empty
    [[nodiscard]] static ClientState ofSite(const QString& siteId);

    ClientState(ClientState&& other) noexcept;
    ClientState& operator=(ClientState&& other) noexcept;
    ~ClientState();

    /// @param key  such as "window/geometry"
    [[nodiscard]] QVariant value(const QString& key, const QVariant& otherwise = {}) const;
    [[nodiscard]] bool contains(const QString& key) const;
    /// Written at the latest when this object goes.
    void setValue(const QString& key, const QVariant& value);
    void remove(const QString& key);
    /// The file it lies in; empty where nothing is kept.
    [[nodiscard]] QString path() const;

private:
    explicit ClientState(const QString& name);

    std::unique_ptr<QSettings> m_file; ///< none where nothing is kept
};

} // namespace KOZAV::Host
