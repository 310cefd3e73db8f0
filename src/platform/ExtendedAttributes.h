#pragma once

#include <QByteArray>
#include <QString>
#include <QStringList>

#include <cerrno>
#include <functional>

// The error that says "no such attribute". glibc only has the Linux name for it.
#ifndef ENOATTR
#define ENOATTR ENODATA
#endif

// Extended attributes of a file in the user namespace. Names are given without the namespace ("xdg.tags" is
// stored as "user.xdg.tags"). Symbolic links are never followed: the link's own attributes are meant, and
// Linux refuses user attributes on links with EPERM. Failures come back as the errno value, 0 meaning
// success.
namespace ExtendedAttributes {

// The value of attribute `name`, reading at most `capacity` bytes: a longer value fails with ERANGE.
QByteArray value(const QString &path, const QString &name, qsizetype capacity, int *error);

// Creates or replaces the attribute.
int setValue(const QString &path, const QString &name, const QByteArray &value);

int remove(const QString &path, const QString &name);

// The names of the file's user attributes, without the namespace.
QStringList names(const QString &path, int *error);

// Called, on the writing thread, with the path of each successful setValue or remove: Vantry's own tag,
// rating and flag writes, which the metadata index takes in at once. An empty function ends the calls.
void setWriteObserver(std::function<void(const QString &path)> observer);

} // namespace ExtendedAttributes
