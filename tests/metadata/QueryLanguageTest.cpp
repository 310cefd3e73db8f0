#include "MetadataIndex.h"
#include "QtPrinters.h"
#include "QueryEvaluator.h"
#include "QueryParser.h"

#include <gtest/gtest.h>

// The query language's conformance table. Every row runs twice, through the in-memory evaluator and through
// the compiled SQL against a real index holding the same files, and both must give the expected names.
namespace {

// A Wednesday afternoon, local time.
const QDateTime kNow(QDate(2024, 5, 15), QTime(14, 30));

QDateTime daysAgo(int days, int hour = 12)
{
    return QDateTime(kNow.date().addDays(-days), QTime(hour, 0));
}

QVariantMap file(const QString &name, const QString &folder, QVariantMap attributes)
{
    attributes.insert(QStringLiteral("kMDItemFSName"), name);
    if (!attributes.contains(QStringLiteral("kMDItemDisplayName")))
        attributes.insert(QStringLiteral("kMDItemDisplayName"), name);
    attributes.insert(QStringLiteral("kMDItemPath"), QStringLiteral("/home/u/%1/%2").arg(folder, name));
    return attributes;
}

IndexedFile indexed(const QVariantMap &attributes)
{
    IndexedFile indexed;
    indexed.attributes = attributes;
    return indexed;
}

const QStringList kText{"public.plain-text", "public.text", "public.data", "public.item", "public.content"};
const QStringList kJpeg{"public.jpeg", "public.image", "public.data", "public.item", "public.content"};

const QList<QVariantMap> &files()
{
    static const QList<QVariantMap> files = {
        file("my apple.txt", "Documents",
             {{"kMDItemDisplayName", "my apple"},
              {"kMDItemFSSize", 1200},
              {"kMDItemContentType", "public.plain-text"},
              {"kMDItemContentTypeTree", kText},
              {"kMDItemKind", "Plain Text"},
              {"kMDItemTextContent", "say \"hi\" to the absent-minded crowd"},
              {"kMDItemLastUsedDate", kNow.addSecs(60)},
              {"kMDItemFSContentChangeDate", daysAgo(3)},
              {"kMDItemUserTags", QStringList{"Red", "Work"}},
              {"kMDItemStarRating", 4.0}}),
        file("fooApple.PDF", "Documents",
             {{"kMDItemFSSize", 50000},
              {"kMDItemContentTypeTree", QStringList{"com.adobe.pdf", "public.data", "public.item"}},
              {"kMDItemKind", "PDF document"},
              {"kMDItemNumberOfPages", 12},
              {"kMDItemLastUsedDate", kNow.addSecs(-3600)},
              {"kMDItemFSContentChangeDate", daysAgo(10)},
              {"kMDItemUserTags", QVariantList{"Work"}}}),
        file("2024_april.jpg", "Pictures",
             {{"kMDItemFSSize", 999},
              {"kMDItemContentTypeTree", kJpeg},
              {"kMDItemFSContentChangeDate", kNow.addSecs(-3600)}}),
        file("banana.png", "Library",
             {{"kMDItemFSSize", 50001},
              {"kMDItemContentTypeTree", QStringList{"public.png", "public.image", "public.data"}},
              {"kMDItemSupportFileType", QStringList{"MDSystemFile"}},
              {"kMDItemFSInvisible", true}}),
        file("Café Noir", "Music",
             {{"kMDItemContentTypeTree", QStringList{"public.folder", "public.directory", "public.item"}},
              {"kMDItemKind", "Folder"},
              {"kMDItemLastUsedDate", daysAgo(2)}}),
        file("report-01.txt", "Documents",
             {{"kMDItemFSSize", 1000},
              {"kMDItemContentTypeTree", kText},
              {"kMDItemFSContentChangeDate", daysAgo(1, 1)},
              {"kMDItemQDUserTags", QStringList{"quendel1"}},
              // U+19B0 is a letter to us and a separator to SQLite's unicode61 tokenizer.
              {"kMDItemTextContent", QString::fromUtf8("Don't miss the Q3_totals, naïve q\u19B0mber")},
              {"kMDItemStarRating", 2.5},
              {"kMDItemQDManaged", true}}),
        file("Ábaco.txt", "Documents", {{"kMDItemLastUsedDate", daysAgo(5)}}),
        file("I love Paris.txt", "Documents", {}),
        file("paris-france.jpg", "Pictures", {}),
        file("Comparison.txt", "Documents", {}),
        file("MyWindowClass.h", "src", {{"kMDItemKind", "C Header Source"}}),
        file("NSWindow.h", "src", {}),
        file("star*name.txt", "Documents", {}),
        file("starXname.txt", "Documents", {}),
        file("Straße Ölmühle.txt", "Documents", {}),
        file("old.doc", "Archive",
             {{"kMDItemFSCreationDate", QDateTime(QDate(2023, 7, 1), QTime(0, 0))},
              {"kMDItemLastUsedDate", QDateTime(QDate(2023, 12, 31), QTime(23, 0))}}),
    };
    return files;
}

QStringList allBut(const QStringList &excluded)
{
    QStringList names;
    for (const QVariantMap &attributes : files()) {
        const QString name = attributes.value("kMDItemFSName").toString();
        if (!excluded.contains(name))
            names.append(name);
    }
    return names;
}

struct Row {
    const char *query;
    QStringList expected;
};

const Row kRows[] = {
    // The reference examples.
    {R"(( kMDItemDisplayName == "*ab*"cd ))", {"Ábaco.txt"}},
    {R"(( kMDItemDisplayName == "a*"cdw ))", {"my apple.txt", "fooApple.PDF", "2024_april.jpg", "Ábaco.txt"}},
    {R"(( * == "ab*"cdw || kMDItemTextContent == "ab*"cdw ))", {"my apple.txt", "Ábaco.txt"}},
    {R"((kMDItemContentTypeTree == "public.image"))", {"2024_april.jpg", "banana.png"}},
    {R"((kMDItemSupportFileType != MDSystemFile))", allBut({"banana.png"})},
    {R"((kMDItemLastUsedDate > $time.now) && (kMDItemSupportFileType != 'MDSystemFile'))", {"my apple.txt"}},
    {R"((kMDItemUserTags == *))", {"my apple.txt", "fooApple.PDF"}},
    {R"(kMDItemFSContentChangeDate >= $time.today(-7))", {"my apple.txt", "2024_april.jpg", "report-01.txt"}},
    {R"(InRange(kMDItemFSSize, 1000, 50000))", {"my apple.txt", "fooApple.PDF", "report-01.txt"}},
    {R"(kMDItemFSName == "*.pdf"c)", {"fooApple.PDF"}},
    {R"(kMDItemDisplayName == "report-??.txt")", {"report-01.txt"}},
    {R"(kMDItemTextContent == "say \"hi\"*")", {"my apple.txt"}},
    {R"(kMDItemLastUsedDate == "*" && !(kMDItemContentTypeTree == public.folder))",
     {"my apple.txt", "fooApple.PDF", "Ábaco.txt", "old.doc"}},
    // Wildcards, anchoring and escapes.
    {R"(kMDItemFSName == "*.pdf")", {}},
    {R"(kMDItemFSName == "apple")", {}},
    {R"(kMDItemFSName == "*apple*")", {"my apple.txt"}},
    {R"(kMDItemFSName == "r*t-0?.*")", {"report-01.txt"}},
    {R"(kMDItemDisplayName == "report-?.txt")", {}},
    {R"(kMDItemFSName == "star*name.txt")", {"star*name.txt", "starXname.txt"}},
    {R"(kMDItemFSName == "star\*name.txt")", {"star*name.txt"}},
    {R"(kMDItemFSName == 'banana.png' || kMDItemFSName = NSWindow.h)", {"banana.png", "NSWindow.h"}},
    {R"(kMDItemFSName == "Caf?*")", {"Café Noir"}},
    // Modifiers, after the value and in brackets.
    {R"(kMDItemDisplayName == "*áb*"c)", {"Ábaco.txt"}},
    {R"(kMDItemDisplayName == "*ab*"c)", {}},
    {R"(kMDItemDisplayName == "*Ab*"d)", {"Ábaco.txt"}},
    {R"(kMDItemDisplayName ==[cd] "cafe noir")", {"Café Noir"}},
    {R"(kMDItemDisplayName ==[c] "CAFÉ*"d)", {"Café Noir"}},
    {R"(kMDItemDisplayName == "cafe noir"c)", {}},
    {R"(kMDItemDisplayName == "Paris"wc)", {"I love Paris.txt", "paris-france.jpg"}},
    {R"(kMDItemDisplayName == "Window"w)", {"MyWindowClass.h"}},
    {R"(kMDItemDisplayName == "noir"w)", {}},
    {R"(kMDItemDisplayName == "*ir"cw)", {"Café Noir"}},
    {R"(kMDItemFSName == "banana.png"t)", {"banana.png"}},
    // Folding reaches the full-text tables too: they only narrow, never decide.
    {R"(kMDItemFSName == "*olmuh*"cd)", {"Straße Ölmühle.txt"}},
    {R"(kMDItemFSName == "*ölmüh*"c || kMDItemFSName == "*STRASSE*"c)", {"Straße Ölmühle.txt"}},
    {R"(kMDItemFSName == "Olm*"dw || kMDItemFSName == "olm*"dw)", {"Straße Ölmühle.txt"}},
    {R"(kMDItemFSName == "olm*"w)", {}},
    // Word prefixes the word table answers alone must agree with the re-check.
    {R"(kMDItemTextContent == "don*"cdw && kMDItemTextContent == "Q3*"cdw)", {"report-01.txt"}},
    {R"(kMDItemTextContent == "NAÏ*"cdw && kMDItemTextContent == "tot*"cdw)", {"report-01.txt"}},
    {R"(kMDItemTextContent == "dont*"cdw || kMDItemTextContent == "q3_*"cdw || kMDItemTextContent == "mb*"cdw)",
     {}},
    {R"(kMDItemFSName == "01*"cdw || kMDItemFSName == "WIN*"cdw || kMDItemFSName == "2024a*"cdw)",
     {"report-01.txt", "MyWindowClass.h"}},
    {R"(kMDItemDisplayName == "txt*"cdw && kMDItemFSName == "*apple*"c)", {}},
    // The any-attribute form covers every string attribute but the text content.
    {R"(* == "public.folder")", {"Café Noir"}},
    {R"(* == "Plain Text" || * == "*/src/*")", {"my apple.txt", "MyWindowClass.h", "NSWindow.h"}},
    {R"(* == "absent*"w)", {}},
    {R"(* == "quendel?")", {"report-01.txt"}},
    // Multi-valued attributes: any element for ==, no element for !=.
    {R"(kMDItemUserTags == Work)", {"my apple.txt", "fooApple.PDF"}},
    {R"(kMDItemUserTags == "r*"c)", {"my apple.txt"}},
    {R"(kMDItemUserTags != Work)", allBut({"my apple.txt", "fooApple.PDF"})},
    {R"(kMDItemQDUserTags == "quendel1")", {"report-01.txt"}},
    // Missing attributes: false except for !=.
    {R"(kMDItemFSSize != 1000)", allBut({"report-01.txt"})},
    {R"(!(kMDItemFSSize >= 0))",
     allBut({"my apple.txt", "fooApple.PDF", "2024_april.jpg", "banana.png", "report-01.txt"})},
    {R"(kMDItemSupportFileType != "*")", allBut({"banana.png"})},
    {R"(kMDItemNoSuchAttribute == *)", {}},
    {R"(kMDItemNoSuchAttribute != 3)", allBut({})},
    {R"(kMDItemDisplayName < 5)", {}},
    // Numbers and booleans.
    {R"(kMDItemStarRating == 2.5)", {"report-01.txt"}},
    {R"(kMDItemStarRating >= 4)", {"my apple.txt"}},
    {R"(kMDItemFSSize == 5e4 || kMDItemNumberOfPages > +10)", {"fooApple.PDF"}},
    {R"(kMDItemFSSize <= "999")", {"2024_april.jpg"}},
    {R"(kMDItemQDManaged == 1 || kMDItemFSInvisible == 1)", {"report-01.txt", "banana.png"}},
    {R"(kMDItemQDManaged == 0)", {}},
    // Dates: periods under ==, starts under < and >, seconds since 2001 for numbers.
    {R"(kMDItemFSContentChangeDate == $time.yesterday)", {"report-01.txt"}},
    {R"(kMDItemFSContentChangeDate == $time.today)", {"2024_april.jpg"}},
    {R"(kMDItemFSContentChangeDate != $time.today(-3))", allBut({"my apple.txt"})},
    {R"(kMDItemLastUsedDate < $time.now(-3600))", {"Café Noir", "Ábaco.txt", "old.doc"}},
    {R"(kMDItemLastUsedDate == $time.this_week)", {"my apple.txt", "fooApple.PDF", "Café Noir"}},
    {R"(kMDItemLastUsedDate == $time.last_week)", {"Ábaco.txt"}},
    {R"(kMDItemLastUsedDate == $time.this_month && kMDItemLastUsedDate < $time.this_month(1))",
     {"my apple.txt", "fooApple.PDF", "Café Noir", "Ábaco.txt"}},
    {R"(kMDItemLastUsedDate == $time.this_year(-1))", {"old.doc"}},
    {R"(kMDItemFSCreationDate == $time.iso(2023-07-01T00:00:00))", {"old.doc"}},
    {R"(InRange(kMDItemLastUsedDate, $time.iso(2023-01-01), $time.today))",
     {"Café Noir", "Ábaco.txt", "old.doc"}},
    {R"(kMDItemFSCreationDate > 700000000 && kMDItemFSCreationDate < "2023-07-02")", {"old.doc"}},
    // Precedence, negation, grouping.
    {R"(kMDItemFSName == "banana.png" || kMDItemFSName == "my apple.txt" && kMDItemFSSize < 1000)",
     {"banana.png"}},
    {R"((kMDItemFSName == "banana.png" || kMDItemFSName == "my apple.txt") && kMDItemFSSize < 1000)", {}},
    {R"(!kMDItemFSName == "banana.png" && kMDItemFSSize > 1000)", {"my apple.txt", "fooApple.PDF"}},
    {R"(!!(kMDItemFSName == "banana.png"))", {"banana.png"}},
    {R"(!(kMDItemFSSize > 1000 || kMDItemFSSize < 1000) && kMDItemFSSize == *)", {"report-01.txt"}},
};

class QueryLanguageTest : public ::testing::Test {
protected:
    static void SetUpTestSuite()
    {
        index = new MetadataIndex;
        ASSERT_TRUE(index->open(":memory:")) << index->errorText().toStdString();
        for (const QVariantMap &attributes : files())
            ASSERT_TRUE(index->putFile(indexed(attributes)).has_value()) << index->errorText().toStdString();
    }
    static void TearDownTestSuite() { delete index; }

    static QStringList namesOf(const QStringList &paths)
    {
        QStringList names;
        for (const QString &path : paths)
            names.append(path.section('/', -1));
        names.sort();
        return names;
    }

    static MetadataIndex *index;
};

MetadataIndex *QueryLanguageTest::index = nullptr;

TEST_F(QueryLanguageTest, EvaluatorAndSqlAgreeWithTheTable)
{
    const QueryEvaluator evaluator(kNow);
    for (const Row &row : kRows) {
        SCOPED_TRACE(row.query);
        const QueryParseResult parsed = QueryParser::parse(QString::fromUtf8(row.query));
        ASSERT_TRUE(parsed.ok()) << parsed.error.column << ": " << parsed.error.message.toStdString();
        QStringList expected = row.expected;
        expected.sort();

        QStringList inMemory;
        for (const QVariantMap &attributes : files()) {
            if (evaluator.matches(parsed.root, attributes))
                inMemory.append(attributes.value("kMDItemFSName").toString());
        }
        inMemory.sort();
        EXPECT_EQ(inMemory, expected) << "in memory";

        const auto paths = index->search(parsed.root, {}, 0, kNow);
        ASSERT_TRUE(paths.has_value()) << index->errorText().toStdString();
        EXPECT_EQ(namesOf(*paths), expected) << "in SQL";
    }
}

TEST_F(QueryLanguageTest, SearchHonoursScopeLimitAndUpdates)
{
    const QueryNode any = QueryParser::parse("kMDItemFSName == *").root;
    EXPECT_EQ(namesOf(*index->search(any, "/home/u/src/", 0, kNow)),
              QStringList({"MyWindowClass.h", "NSWindow.h"}));
    EXPECT_EQ(index->search(any, "/home/u/Doc", 0, kNow)->size(), 0);
    EXPECT_EQ(index->search(any, {}, 3, kNow)->size(), 3);

    // Rewriting a file replaces its values and full-text rows; removing it removes them.
    QVariantMap renamed = file("NSWindow.h", "src", {{"kMDItemDisplayName", "Renamed Thing"}});
    renamed.insert("kMDItemUserTags", QStringList{"Blue"});
    const auto before = index->search(QueryParser::parse(R"(kMDItemDisplayName == "*window*"c)").root,
                                      "/home/u/src", 0, kNow);
    ASSERT_TRUE(index->putFile(indexed(renamed)).has_value());
    const auto after =
        index->search(QueryParser::parse(R"(kMDItemDisplayName == "*window*"c || * == "thing"w)").root,
                      "/home/u/src", 0, kNow);
    EXPECT_EQ(namesOf(*before), QStringList({"MyWindowClass.h", "NSWindow.h"}));
    EXPECT_EQ(namesOf(*after), QStringList({"MyWindowClass.h"}));
    EXPECT_EQ(namesOf(*index->search(QueryParser::parse("kMDItemUserTags == Blue").root, {}, 0, kNow)),
              QStringList({"NSWindow.h"}));
    ASSERT_TRUE(index->removeFile("/home/u/src/NSWindow.h"));
    EXPECT_TRUE(index->search(QueryParser::parse("kMDItemUserTags == Blue").root, {}, 0, kNow)->isEmpty());
    ASSERT_TRUE(index->putFile(indexed(file("NSWindow.h", "src", {}))).has_value());
}

TEST(QueryParserTest, MalformedQueriesReportTheirColumn)
{
    const struct {
        const char *query;
        int column;
    } rows[] = {
        {"", 1},
        {"   ", 4},
        {"kMDItemFSName", 14},
        {"kMDItemFSName ~ a", 15},
        {"kMDItemFSName == \"abc", 18},
        {"kMDItemFSName == 'a\\'", 18},
        {"kMDItemFSName == \"a\"x", 21},
        {"kMDItemFSName ==[cx] a", 19},
        {"kMDItemFSName ==[c a", 19},
        {"(kMDItemFSName == a", 20},
        {"kMDItemFSName == a)", 19},
        {"kMDItemFSName == a &&", 22},
        {"kMDItemFSName ==", 17},
        {"* != \"a\"", 3},
        {"* == 5", 6},
        {"kMDItemFSSize < \"abc\"", 17},
        {"kMDItemFSSize < *", 17},
        {"kMDItemLastUsedDate > $time.tomorrow", 29},
        {"kMDItemLastUsedDate > $time.today(1.5)", 35},
        {"kMDItemLastUsedDate > $time.iso(nope)", 33},
        {"kMDItemLastUsedDate > $time.this_year(-1e12)", 39},
        {"InRange(kMDItemFSSize, 1)", 25},
        {"InRange(kMDItemFSSize, 1, x)", 27},
        {"!", 2},
    };
    for (const auto &row : rows) {
        SCOPED_TRACE(row.query);
        const QueryParseResult parsed = QueryParser::parse(QString::fromUtf8(row.query));
        EXPECT_EQ(parsed.error.column, row.column) << parsed.error.message.toStdString();
        EXPECT_FALSE(parsed.error.message.isEmpty());
    }
}

} // namespace
