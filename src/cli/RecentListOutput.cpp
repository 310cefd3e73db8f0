#include "RecentListOutput.h"

#include "ReferenceTime.h"
#include "VNRecentFiles.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>

namespace RecentListOutput {

QList<VNItemRef> currentList(VNRecentFiles &recentFiles, const QString &folder)
{
    for (const RecentEvent &event : recentFiles.pastEvents()) {
        for (const VNItemRef &file : event.files)
            file->calculateCache();
    }
    return folder.isEmpty() ? recentFiles.recentFiles() : recentFiles.recentFilesInDirectory(folder);
}

QString text(const QList<VNItemRef> &items)
{
    QString lines;
    for (const VNItemRef &item : items) {
        lines += item->path();
        if (item->isStack())
            lines += QStringLiteral("\tstack of %1").arg(item->stackCount());
        lines += QLatin1Char('\n');
    }
    return lines;
}

QString json(const QList<VNItemRef> &items)
{
    QJsonArray array;
    for (const VNItemRef &item : items) {
        QJsonObject entry{
            {"path", item->path()},
            {"date", ReferenceTime::toDateTime(item->timeOfFile()).toString(Qt::ISODateWithMs)},
            {"stack", item->isStack()},
            {"count", item->isStack() ? item->stackCount() : 1},
        };
        if (item->isStack())
            entry.insert("members", QJsonArray::fromStringList(VNItem::pathsForItems(item->stack())));
        array.append(entry);
    }
    return QString::fromUtf8(QJsonDocument(array).toJson(QJsonDocument::Compact));
}

} // namespace RecentListOutput
