#pragma once

#include <QByteArray>
#include <QString>

namespace AtomicFile {

// Replaces `path` with `data` all at once: written to a temporary file beside it, flushed to disk, then
// renamed over the old one, so a crash or a full disk leaves either the old or the new file, never a mix.
// Creates missing parent folders.
bool write(const QString &path, const QByteArray &data, QString *error = nullptr);

} // namespace AtomicFile
