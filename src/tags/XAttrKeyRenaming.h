#pragma once

#include "AttributeHolderQuery.h"

#include <QString>

#include <memory>

class UserDefaults;

// Moves a metadata attribute to a new name on every file that carries it, once per pair of names. A user
// defaults marker records that the renaming ran to the end, so an interrupted run starts again at the next
// launch.
class XAttrKeyRenaming {
public:
    // Starts the renaming on its own thread, unless the marker says it is done. The thread waits a while
    // first so as not to burden the launch.
    static void changeXAttrKey(const QString &oldKey, const QString &to,
                               std::shared_ptr<AttributeHolderQuery> query, UserDefaults &defaults);

    // The renaming itself, without the wait. Stops early, leaving the marker unset, when the application is
    // quitting or the query cannot be run.
    static void crunchThroughChangingXAttr(const QString &oldKey, const QString &newKey, const QString &pref,
                                           AttributeHolderQuery &query, UserDefaults &defaults);

    static QString markerName(const QString &oldKey, const QString &newKey);
};
