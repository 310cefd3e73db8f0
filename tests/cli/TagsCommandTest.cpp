#include "ProcessResult.h"
#include "TemporaryHome.h"

#include <QFile>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>

#include <gtest/gtest.h>

namespace {

TEST(TagsCommand, SetsAddsRemovesAndReadsTags)
{
    TemporaryHome home;
    const QString a = home.writeFile("a.txt");
    const QString b = home.writeFile("b.txt");

    ASSERT_EQ(runVantry({"tags", "set", "work, two words, Work", a, b}).status, 0);
    ASSERT_EQ(runVantry({"tags", "add", "urgent", b}).status, 0);
    const ProcessResult get = runVantry({"tags", "get", a, b});
    ASSERT_EQ(get.status, 0) << get.err.toStdString();
    EXPECT_EQ(get.out, (a + ": work, two words\n" + b + ": work, two words, urgent\n").toUtf8());

    const ProcessResult common = runVantry({"tags", "common", "--json", a, b});
    EXPECT_EQ(QJsonDocument::fromJson(common.out).array(), QJsonArray({"work", "two words"}));

    ASSERT_EQ(runVantry({"tags", "remove", "WORK", b}).status, 0);
    const QJsonObject json = QJsonDocument::fromJson(runVantry({"tags", "get", "--json", b}).out).object();
    EXPECT_EQ(json.value(b).toArray(), QJsonArray({"two words", "urgent"}));
}

TEST(TagsCommand, RatingsAndFailuresFileByFile)
{
    TemporaryHome home;
    const QString file = home.writeFile("photo.jpg");
    const QString link = home.filePath("link.jpg");
    ASSERT_TRUE(QFile::link(file, link));

    // A link cannot carry user attributes: it fails alone, the other file is still written.
    const ProcessResult set = runVantry({"rating", "set", "4", link, file});
    EXPECT_EQ(set.status, 1);
    EXPECT_TRUE(set.err.contains(link.toUtf8() + ": errno error: 1, Operation not permitted"))
        << set.err.toStdString();
    const ProcessResult get = runVantry({"rating", "get", "--json", file});
    EXPECT_EQ(QJsonDocument::fromJson(get.out).object().value(file).toDouble(), 4.0);

    EXPECT_EQ(runVantry({"tags", "get", home.filePath("missing.txt")}).status, 1);
    EXPECT_EQ(runVantry({"rating", "set", "7", file}).status, 2);
    EXPECT_EQ(runVantry({"tags", "rename", "x", file}).status, 2);
}

TEST(TagsCommand, ReplacesCommonTagsAndAsksBeforeChangingMany)
{
    TemporaryHome home;
    QStringList files;
    for (int i = 0; i < 21; ++i)
        files.append(home.writeFile(QStringLiteral("f%1.txt").arg(i)));
    ASSERT_EQ(runVantry(QStringList{"tags", "set", "draft, mine"} + files).status, 0);

    // Not a terminal and no --yes: declined, nothing changes.
    const ProcessResult asked =
        runVantry(QStringList{"tags", "replace-common", "--from", "draft", "--to", "final"} + files);
    EXPECT_EQ(asked.status, 1);
    EXPECT_TRUE(asked.err.contains("--yes")) << asked.err.toStdString();
    EXPECT_TRUE(runVantry({"tags", "get", files.first()}).out.contains("draft, mine"));

    const ProcessResult done =
        runVantry(QStringList{"tags", "replace-common", "--yes", "--from", "draft", "--to", "final"} + files);
    EXPECT_EQ(done.status, 0) << done.err.toStdString();
    EXPECT_EQ(runVantry({"tags", "common", files.first(), files.last()}).out, "mine, final\n");
}

} // namespace
