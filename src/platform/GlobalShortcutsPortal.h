#pragma once

#include <QDBusConnection>
#include <QDBusObjectPath>
#include <QObject>
#include <QVariantMap>

// One global shortcut bound through the desktop portal (org.freedesktop.portal.GlobalShortcuts), the way a
// Wayland session lets a program have a system-wide key. The desktop asks the user to confirm the binding
// and may pick another key; the portal's answers arrive later and only failures are logged.
class GlobalShortcutsPortal : public QObject {
    Q_OBJECT

public:
    explicit GlobalShortcutsPortal(const QDBusConnection &bus = QDBusConnection::sessionBus(),
                                   QObject *parent = nullptr);
    ~GlobalShortcutsPortal() override;

    // Asks for the shortcut, suggesting `trigger` in the portal's form ("LOGO+slash"). False, with a log
    // line, when the bus has no such portal.
    bool bind(const QString &trigger, const QString &description);
    void unbind();

Q_SIGNALS:
    void pressed();

private Q_SLOTS:
    void sessionCreated(uint response, const QVariantMap &results);
    void shortcutsBound(uint response, const QVariantMap &results);
    void activated(const QDBusObjectPath &session, const QString &shortcut, qulonglong timestamp,
                   const QVariantMap &options);

private:
    QString requestPath(const QString &token) const;
    bool request(const QString &method, const QVariantList &arguments, const QString &token,
                 const char *slot);
    void finishRequest();

    QDBusConnection m_bus;
    QString m_trigger;
    QString m_description;
    QDBusObjectPath m_session;
    QString m_pendingRequest; // the request whose Response we wait for
    const char *m_pendingSlot = nullptr;
    quint64 m_tokens = 0;
};
