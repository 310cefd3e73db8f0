#pragma once

#include <QStringList>

#include <optional>

// One multi-file tag edit held while the user is asked to confirm it.
struct XPDeltaTagsOperation {
    QStringList filePaths;
    QStringList originalTags;        // the common tags the editor showed when it opened
    QStringList newTags;             // the common tags as the user left them
    std::optional<double> newRating; // none: the ratings are left alone
};
