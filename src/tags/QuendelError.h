#pragma once

#include <QString>

#include <optional>

// A failure of the tag store: the store's own (domain "quendel") or a failing system call (the POSIX domain,
// errno as code). `info` is the text shown to the user, e.g. "errno error: 1, Operation not permitted".
struct QuendelError {
    static inline const QString quendelDomain = QStringLiteral("quendel");
    static inline const QString posixDomain = QStringLiteral("NSPOSIXErrorDomain");

    static constexpr int parameterError = -1;
    static constexpr int plistError = -2;
    static constexpr int tooBigError = -5;

    QString domain;
    int code = 0;
    QString info;

    friend bool operator==(const QuendelError &, const QuendelError &) = default;
};

// No value means success.
using QuendelResult = std::optional<QuendelError>;
