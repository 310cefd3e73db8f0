#pragma once

#include "SharedPreferencesFile.h"

#include <QString>
#include <QStringList>

#include <functional>
#include <optional>

class UserDefaults;

// The recently entered tags, most recent first, kept in the preferences domain that all programs of the
// Quendel tagging scheme share, so that a tag typed in one of them is offered in the others. The list holds
// no two tags equal ignoring case and at most 1401 tags.
//
// The shared domain is the file prefsFilePath(sharedIdentifier()). When the application finds no such file
// at launch, it switches to its own defaults (setPrefsFile(applicationIdentifier())) until another program of
// the scheme creates the shared file.
//
// Each instance stands for one process's view of the domain; the program uses standard(). Used on the main
// thread.
class QuendelPrefs {
public:
    static QString sharedIdentifier();      // the scheme's shared domain
    static QString applicationIdentifier(); // the application's own domain
    // The preferences file of a domain: $XDG_CONFIG_HOME/<identifier>.plist.
    static QString prefsFilePath(const QString &identifier);

    // The process's domain; the shared one until setPrefsFile() says otherwise.
    static QuendelPrefs &standard();

    // `applicationDefaults` is the application's own domain; the program's is UserDefaults::standard().
    explicit QuendelPrefs(UserDefaults &applicationDefaults, const QString &identifier = sharedIdentifier());

    void setPrefsFile(const QString &identifier);

    // The list, re-read from the domain when the last synchronisation lies 10 s or more away.
    QStringList recentTags();
    // Puts the tags of `newTags` that are not in `oldTags` (exact spelling) at the front of the list, in
    // their order and spelling. False when the list could not be stored.
    bool updatePrefsRecentTags(const QStringList &oldTags, const QStringList &newTags);
    // Removes `tags` from the list, ignoring case. False when the list could not be stored.
    bool removeTagsFromRecents(const QStringList &tags);

    // Re-reads the domain (the own domain: writes pending changes). False on failure.
    bool synchPrefs();
    void synchPrefsIfItsBeenAWhile();

private:
    bool changeRecentTags(const std::function<QStringList(const QStringList &)> &change);

    UserDefaults &m_applicationDefaults;
    std::optional<SharedPreferencesFile> m_sharedFile; // absent: the application's own defaults
    double m_lastSynch = 0;
};
