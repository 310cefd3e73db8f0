#include "SystemTags.h"

#include "ExtendedAttributes.h"

#include <algorithm>
#include <cmath>

namespace SystemTags {

namespace {
const QString tagsAttribute = QStringLiteral("xdg.tags");
const QString ratingAttribute = QStringLiteral("baloo.rating");
// Far above what a file system gives all of a file's attributes together.
constexpr qsizetype tagsCapacity = 64 * 1024;

int removeIfPresent(const QString &path, const QString &name)
{
    const int error = ExtendedAttributes::remove(path, name);
    return error == ENOATTR ? 0 : error;
}
} // namespace

QStringList names(const QString &path, int *error)
{
    const QByteArray text = ExtendedAttributes::value(path, tagsAttribute, tagsCapacity, error);
    if (*error == ENOATTR)
        *error = 0;
    QStringList names;
    for (const QString &piece : QString::fromUtf8(text).split(u',')) {
        const QString name = piece.trimmed();
        if (!name.isEmpty())
            names.append(name);
    }
    return names;
}

int setNames(const QString &path, const QStringList &names)
{
    if (names.isEmpty())
        return removeIfPresent(path, tagsAttribute);
    return ExtendedAttributes::setValue(path, tagsAttribute, names.join(u',').toUtf8());
}

int setRating(const QString &path, double stars)
{
    const long halfStars = std::lround(std::clamp(stars, 0.0, 5.0) * 2);
    if (halfStars == 0)
        return removeIfPresent(path, ratingAttribute);
    return ExtendedAttributes::setValue(path, ratingAttribute, QByteArray::number(qint64(halfStars)));
}

} // namespace SystemTags
