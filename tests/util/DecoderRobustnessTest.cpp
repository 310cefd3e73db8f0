#include "KeyedArchive.h"
#include "PropertyList.h"
#include "QtPrinters.h"
#include "SampleItem.h"

#include <QDateTime>

#include <gtest/gtest.h>

#include <random>

// Property and mutation tests of the two decoders: whatever the bytes, decoding ends in a value or an error,
// never a crash (the sanitizer build turns any memory fault into a failure).
namespace {

class RandomValues {
public:
    explicit RandomValues(unsigned seed) : m_engine(seed) {}

    int below(int bound) { return std::uniform_int_distribution<int>(0, bound - 1)(m_engine); }

    QString text()
    {
        static const QList<char32_t> alphabet = {U'a',  U'Z', U'0', U' ',  U'/',          U'$', U'"',
                                                 U'\\', U'é', U'ß', U'日', U'\U0001F389', U'\n'};
        std::u32string result;
        for (int i = below(12); i > 0; --i)
            result += alphabet[below(int(alphabet.size()))];
        return QString::fromStdU32String(result);
    }

    QVariant value(int depth)
    {
        switch (below(depth > 3 ? 7 : 9)) {
        case 0:
            return text();
        case 1:
            return qint64(std::uniform_int_distribution<qint64>()(m_engine));
        case 2:
            return QVariant::fromValue(std::uniform_int_distribution<quint64>()(m_engine) |
                                       (quint64(1) << 63));
        case 3:
            return std::uniform_real_distribution<double>(-1e12, 1e12)(m_engine);
        case 4:
            return bool(below(2));
        case 5:
            return QDateTime::fromMSecsSinceEpoch(
                std::uniform_int_distribution<qint64>(-1e12, 3e12)(m_engine), Qt::UTC);
        case 6:
            return text().toUtf8();
        case 7: {
            QVariantList list;
            for (int i = below(5); i > 0; --i)
                list.append(value(depth + 1));
            return list;
        }
        default: {
            QVariantMap map;
            for (int i = below(5); i > 0; --i)
                map.insert(text(), value(depth + 1));
            return map;
        }
        }
    }

    QByteArray mutated(QByteArray data)
    {
        for (int i = 1 + below(6); i > 0; --i) {
            // Half the damage goes to the trailer and offset table, where the structure lives.
            const qsizetype position = below(2)
                                           ? below(int(data.size()))
                                           : data.size() - 1 - below(int(qMin<qsizetype>(64, data.size())));
            switch (below(3)) {
            case 0:
                data[position] = char(below(256));
                break;
            case 1:
                data[position] = char(data[position] ^ (1 << below(8)));
                break;
            default:
                data.insert(position, data.mid(below(int(data.size())), below(16)));
                break;
            }
        }
        return data;
    }

private:
    std::mt19937_64 m_engine;
};

QVariantList recentState()
{
    QVariantList events;
    for (int e = 0; e < 4; ++e) {
        QVariantList files;
        for (int f = 0; f < 3; ++f)
            files.append(QVariant::fromValue(
                SampleItem::make(QStringLiteral("/home/u/f%1-%2.txt").arg(e).arg(f), 7e8 + f)));
        events.append(QVariantMap{{"path", QStringLiteral("/home/u/%1").arg(e)},
                                  {"date", QDateTime::fromSecsSinceEpoch(1700000000 + e, Qt::UTC)},
                                  {"files", files}});
    }
    return events;
}

TEST(DecoderRobustness, RandomTreesSurviveArchiving)
{
    RandomValues random(20261121);
    for (int round = 0; round < 300; ++round) {
        const QVariant tree = random.value(0);
        QString error;
        const QByteArray data = KeyedArchiver::archivedDataWithRootObject(tree, &error);
        ASSERT_FALSE(data.isEmpty()) << error.toStdString();
        const QVariant back = KeyedUnarchiver::unarchiveObjectWithData(data, {}, &error);
        ASSERT_EQ(back, tree) << "round " << round << ": " << error.toStdString();

        for (const auto format : {PropertyList::Format::Binary, PropertyList::Format::Xml}) {
            if (format == PropertyList::Format::Xml && tree.toString().contains(QChar(u'\n')))
                continue; // XML may normalise line ends in a bare string
            const QVariant plistBack =
                PropertyList::fromData(PropertyList::toData(QVariantList{tree}, format));
            if (format == PropertyList::Format::Binary)
                ASSERT_EQ(plistBack, QVariant(QVariantList{tree})) << "round " << round;
            else
                ASSERT_TRUE(plistBack.isValid()) << "round " << round;
        }
    }
}

TEST(DecoderRobustness, TruncatedFilesAreRefused)
{
    const QByteArray archive = KeyedArchiver::archivedDataWithRootObject(recentState());
    const QByteArray xml = PropertyList::toData(PropertyList::fromData(archive), PropertyList::Format::Xml);
    for (const QByteArray &whole : {archive, xml}) {
        const QVariant complete = KeyedUnarchiver::unarchiveObjectWithData(whole);
        ASSERT_TRUE(complete.isValid());
        for (qsizetype length = 0; length < whole.size(); ++length) {
            QString error;
            const QVariant value = KeyedUnarchiver::unarchiveObjectWithData(whole.left(length), {}, &error);
            // The XML reader forgives missing closing tags after the last value, and nothing more.
            if (value.isValid())
                EXPECT_EQ(value, complete) << "length " << length;
            else
                EXPECT_FALSE(error.isEmpty()) << "length " << length;
        }
    }
}

TEST(DecoderRobustness, MutatedFilesDecodeOrFailCleanly)
{
    RandomValues random(42);
    const QList<QByteArray> seeds = {
        KeyedArchiver::archivedDataWithRootObject(recentState()),
        PropertyList::toData(random.value(0), PropertyList::Format::Binary),
        PropertyList::toData(QVariantList{random.value(0), random.value(0)}, PropertyList::Format::Binary),
        PropertyList::toData(QVariantMap{{"a", QVariantList{1, "two", 3.0}}}, PropertyList::Format::Xml),
    };
    int decoded = 0;
    for (int round = 0; round < 6000; ++round) {
        const QByteArray data = random.mutated(seeds[round % seeds.size()]);
        QString error;
        const QVariant value = KeyedUnarchiver::unarchiveObjectWithData(data, SampleItem::classes(), &error);
        if (value.isValid())
            ++decoded;
        else
            ASSERT_FALSE(error.isEmpty());
        // Plain reading must hold up too, and whatever it accepts must write back out.
        const QVariant plist = PropertyList::fromData(data, &error);
        if (plist.isValid())
            PropertyList::toData(plist, PropertyList::Format::Binary);
    }
    RecordProperty("decoded", decoded);
}

} // namespace
