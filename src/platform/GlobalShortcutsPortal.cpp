#include "GlobalShortcutsPortal.h"

#include "Log.h"

#include <QDBusArgument>
#include <QDBusInterface>
#include <QDBusMessage>
#include <QDBusMetaType>
#include <QDBusReply>

namespace {

const QString portalService = QStringLiteral("org.freedesktop.portal.Desktop");
const QString portalPath = QStringLiteral("/org/freedesktop/portal/desktop");
const QString shortcutsInterface = QStringLiteral("org.freedesktop.portal.GlobalShortcuts");
const QString requestInterface = QStringLiteral("org.freedesktop.portal.Request");
const QString shortcutId = QStringLiteral("activate");

struct Shortcut {
    QString id;
    QVariantMap properties;
};

QDBusArgument &operator<<(QDBusArgument &argument, const Shortcut &shortcut)
{
    argument.beginStructure();
    argument << shortcut.id << shortcut.properties;
    argument.endStructure();
    return argument;
}

const QDBusArgument &operator>>(const QDBusArgument &argument, Shortcut &shortcut)
{
    argument.beginStructure();
    argument >> shortcut.id >> shortcut.properties;
    argument.endStructure();
    return argument;
}

} // namespace

Q_DECLARE_METATYPE(Shortcut)

GlobalShortcutsPortal::GlobalShortcutsPortal(const QDBusConnection &bus, QObject *parent)
    : QObject(parent), m_bus(bus)
{
    qDBusRegisterMetaType<Shortcut>();
    qDBusRegisterMetaType<QList<Shortcut>>();
}

GlobalShortcutsPortal::~GlobalShortcutsPortal()
{
    unbind();
}

bool GlobalShortcutsPortal::bind(const QString &trigger, const QString &description)
{
    unbind();
    QDBusMessage version = QDBusMessage::createMethodCall(
        portalService, portalPath, QStringLiteral("org.freedesktop.DBus.Properties"), QStringLiteral("Get"));
    version << shortcutsInterface << QStringLiteral("version");
    const QDBusMessage reply = m_bus.call(version);
    if (reply.type() != QDBusMessage::ReplyMessage) {
        Log::line(QStringLiteral("no global shortcuts portal: %1").arg(reply.errorMessage()));
        return false;
    }
    m_trigger = trigger;
    m_description = description;
    const QString token = QStringLiteral("vantry%1").arg(++m_tokens);
    const QVariantMap options{{QStringLiteral("handle_token"), token},
                              {QStringLiteral("session_handle_token"), token}};
    return request(QStringLiteral("CreateSession"), {options}, token,
                   SLOT(sessionCreated(uint, QVariantMap)));
}

void GlobalShortcutsPortal::unbind()
{
    if (!m_session.path().isEmpty()) {
        m_bus.disconnect(portalService, portalPath, shortcutsInterface, QStringLiteral("Activated"), this,
                         SLOT(activated(QDBusObjectPath, QString, qulonglong, QVariantMap)));
        m_bus.send(QDBusMessage::createMethodCall(portalService, m_session.path(),
                                                  QStringLiteral("org.freedesktop.portal.Session"),
                                                  QStringLiteral("Close")));
    }
    finishRequest();
    m_session = {};
    m_trigger.clear();
}

QString GlobalShortcutsPortal::requestPath(const QString &token) const
{
    QString sender = m_bus.baseService().mid(1);
    sender.replace(QLatin1Char('.'), QLatin1Char('_'));
    return QStringLiteral("/org/freedesktop/portal/desktop/request/%1/%2").arg(sender, token);
}

// The portal answers on a request object whose path follows from our name and the token, so the answer is
// listened for before asking, as it may come before the call returns.
bool GlobalShortcutsPortal::request(const QString &method, const QVariantList &arguments,
                                    const QString &token, const char *slot)
{
    finishRequest();
    m_pendingRequest = requestPath(token);
    m_pendingSlot = slot;
    m_bus.connect(portalService, m_pendingRequest, requestInterface, QStringLiteral("Response"), this, slot);
    QDBusMessage call = QDBusMessage::createMethodCall(portalService, portalPath, shortcutsInterface, method);
    call.setArguments(arguments);
    const QDBusMessage reply = m_bus.call(call);
    if (reply.type() == QDBusMessage::ReplyMessage)
        return true;
    finishRequest();
    Log::line(QStringLiteral("global shortcuts portal %1 failed: %2").arg(method, reply.errorMessage()));
    return false;
}

void GlobalShortcutsPortal::finishRequest()
{
    if (m_pendingRequest.isEmpty())
        return;
    m_bus.disconnect(portalService, m_pendingRequest, requestInterface, QStringLiteral("Response"), this,
                     m_pendingSlot);
    m_pendingRequest.clear();
}

void GlobalShortcutsPortal::sessionCreated(uint response, const QVariantMap &results)
{
    finishRequest();
    if (response != 0) {
        Log::line(QStringLiteral("the global shortcuts portal refused a session (%1)").arg(response));
        return;
    }
    m_session = QDBusObjectPath(results.value(QStringLiteral("session_handle")).toString());
    m_bus.connect(portalService, portalPath, shortcutsInterface, QStringLiteral("Activated"), this,
                  SLOT(activated(QDBusObjectPath, QString, qulonglong, QVariantMap)));
    const QList<Shortcut> shortcuts{
        {shortcutId,
         {{QStringLiteral("description"), m_description}, {QStringLiteral("preferred_trigger"), m_trigger}}}};
    const QString token = QStringLiteral("vantry%1").arg(++m_tokens);
    request(QStringLiteral("BindShortcuts"),
            {QVariant::fromValue(m_session), QVariant::fromValue(shortcuts), QString(),
             QVariantMap{{QStringLiteral("handle_token"), token}}},
            token, SLOT(shortcutsBound(uint, QVariantMap)));
}

void GlobalShortcutsPortal::shortcutsBound(uint response, const QVariantMap &)
{
    finishRequest();
    if (response != 0)
        Log::line(QStringLiteral("the global shortcut was not bound (%1)").arg(response));
}

void GlobalShortcutsPortal::activated(const QDBusObjectPath &session, const QString &shortcut, qulonglong,
                                      const QVariantMap &)
{
    if (session == m_session && shortcut == shortcutId)
        Q_EMIT pressed();
}
