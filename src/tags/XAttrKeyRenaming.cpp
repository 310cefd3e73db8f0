#include "XAttrKeyRenaming.h"

#include "ExtendedAttributes.h"
#include "Log.h"
#include "Quendel.h"
#include "QuitFlag.h"
#include "UserDefaults.h"

#include <chrono>
#include <thread>

namespace {
constexpr std::chrono::seconds startDelay(35);
// Twice the largest value the store writes; a value filling the whole buffer may be cut short and is left.
constexpr qsizetype copyCapacity = 8192;
} // namespace

void XAttrKeyRenaming::changeXAttrKey(const QString &oldKey, const QString &to,
                                      std::shared_ptr<AttributeHolderQuery> query, UserDefaults &defaults)
{
    const QString pref = markerName(oldKey, to);
    if (defaults.boolValue(pref))
        return;
    std::thread([=, &defaults] {
        std::this_thread::sleep_for(startDelay);
        crunchThroughChangingXAttr(oldKey, to, pref, *query, defaults);
    }).detach();
}

void XAttrKeyRenaming::crunchThroughChangingXAttr(const QString &oldKey, const QString &newKey,
                                                  const QString &pref, AttributeHolderQuery &query,
                                                  UserDefaults &defaults)
{
    const std::optional<QStringList> paths = query.pathsHavingKey(oldKey);
    if (!paths)
        return;
    if (!paths->isEmpty())
        Log::line(QStringLiteral("one time conversion of %1 to %2").arg(oldKey, newKey));
    const QString oldName = Quendel::spotlightKey(oldKey);
    const QString newName = Quendel::spotlightKey(newKey);
    for (const QString &path : *paths) {
        int error = 0;
        const QByteArray value = ExtendedAttributes::value(path, oldName, copyCapacity, &error);
        if (!value.isEmpty() && value.size() < copyCapacity &&
            ExtendedAttributes::setValue(path, newName, value) == 0)
            ExtendedAttributes::remove(path, oldName);
        if (QuitFlag::isRaised())
            return;
    }
    defaults.setValue(pref, true);
}

QString XAttrKeyRenaming::markerName(const QString &oldKey, const QString &newKey)
{
    return QStringLiteral("UpdatedXAttr_") + oldKey + newKey;
}
