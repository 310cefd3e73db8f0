#pragma once

#include "MetadataCrawler.h"
#include "MetadataIndex.h"
#include "QueryParser.h"
#include "SystemTags.h"
#include "TemporaryHome.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>

#include <gtest/gtest.h>

// A crawler over a real tree in a temporary home, its index in the home's cache folder.
class CrawledHomeTest : public ::testing::Test {
protected:
    void SetUp() override
    {
        const QString database = MetadataCrawler::defaultDatabasePath();
        ASSERT_TRUE(QDir().mkpath(QFileInfo(database).path()));
        ASSERT_TRUE(index.open(database)) << index.errorText().toStdString();
        crawler.setContentIndexing(true);
        crawler.setAttributeReader([](const QString &path, QVariantMap &attributes) {
            int error = 0;
            if (const QStringList tags = SystemTags::names(path, &error); !tags.isEmpty())
                attributes.insert(QStringLiteral("kMDItemUserTags"), tags);
        });
    }

    // The home-relative paths of the files matching `query`, sorted.
    QStringList find(const QString &query)
    {
        const QueryParseResult parsed = QueryParser::parse(query);
        EXPECT_TRUE(parsed.ok()) << query.toStdString();
        const std::optional<QStringList> paths =
            index.search(parsed.root, QString(), 0, QDateTime::currentDateTimeUtc());
        EXPECT_TRUE(paths) << index.errorText().toStdString();
        QStringList relative;
        for (const QString &path : paths.value_or(QStringList()))
            relative.append(QDir(home.path()).relativeFilePath(path));
        relative.sort();
        return relative;
    }

    QString write(const QString &relative, const QByteArray &content)
    {
        const QString path = home.filePath(relative);
        QDir().mkpath(QFileInfo(path).path());
        QFile file(path);
        EXPECT_TRUE(file.open(QIODevice::WriteOnly) && file.write(content) == content.size());
        return path;
    }

    TemporaryHome home;
    MetadataIndex index;
    MetadataCrawler crawler{index};
};
