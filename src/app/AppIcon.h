#pragma once

#include <QIcon>

// Vantry's own icon, for the tray, the windows and the about box: a stack of three cards.
namespace AppIcon {

QIcon statusItemIcon();

} // namespace AppIcon
