#include "DefaultsTable.h"

#include <QStringList>

#include <limits>

namespace DefaultsTable {

namespace {

// Colours are stored as [red, green, blue, alpha] in device RGB.
QVariantList colour(double red, double green, double blue, double alpha)
{
    return {red, green, blue, alpha};
}

} // namespace

QVariantMap colourDefaults()
{
    return {
        {"VNVantryBackgroundColour", colour(0.16, 0.18, 0.16, 0.9)},
        {"VNVantryTextColour", colour(1, 1, 1, 1)},
        {"VNCoolerBackgroundColour", colour(0.38, 0.38, 0.38, 0.9)},
        {"VNCoolerTextColour", colour(1, 1, 1, 1)},
    };
}

QVariantMap registrationDomain()
{
    QVariantMap defaults = {
        {"VNVirginLaunch", true},
        {"VNAlwaysCopyOnDrag", true},
        {"VNFadeIn", false},
        {"KPUseCommas", true},
        {"wantedDirectories", QStringList()},
        {"unwantedDirectories", QStringList()},
        {"unwantedExtensions", QStringList{"xcodeproj", "tmp"}},
        {"unwantedItems", QStringList()},
        {"unwantedPathFragments", QStringList()},
        {"XPSkipTagAutoComplete", false},
        {"VNIncludeFileOpenedEvents", true},
        {"lastHandledFSEvent", QVariant::fromValue(std::numeric_limits<quint64>::max())}, // start from now
        {"XPUseGlobalHotKey", true},
        {"XPHotKeyKeyCode", 44},
        {"XPHotKeyCharacter", 47},
        {"XPModifierFlags", 1048576},
        {"KPShowDropZone2", true},
        {"KPDropZoneLeftEdge", false},
        {"KPShowDropZoneEvenWithoutFileDrag", false},
        {"KPDropZoneOverlapWithScreen", false},
        {"KPAutoAddDragsAndSuchToCooler", true},
    };
    defaults.insert(colourDefaults());
    return defaults;
}

} // namespace DefaultsTable
