#include "logview/VXStatusTableHeader.h"

#include "logview/tests/LogTexts.h"

#include <QMetaProperty>
#include <QStringList>

#include <gtest/gtest.h>

namespace veltra {
namespace {

TEST(VXStatusTableHeader, HoldsItsPlaceholdersAtFirst)
{
    const VXStatusTableHeader record;

    EXPECT_EQ(record.logComponent(), u"Component"_qs);
    EXPECT_EQ(record.Date(), u"Todays date"_qs);
    EXPECT_EQ(record.Time(), u"Todays time"_qs);
    EXPECT_EQ(record.message_type(), u"message type is:"_qs);
    EXPECT_EQ(record.message(), u"message is:"_qs);
}

TEST(VXStatusTableHeader, HoldsWhatItsPropertiesAreSetTo)
{
    VXStatusTableHeader record;

    record.setLogComponent(u"a"_qs);
    record.setDate(u"b"_qs);
    record.setTime(u"c"_qs);
    record.setMessage_type(u"d"_qs);
    record.setMessage(u"e"_qs);

    EXPECT_EQ(record.logComponent(), u"a"_qs);
    EXPECT_EQ(record.Date(), u"b"_qs);
    EXPECT_EQ(record.Time(), u"c"_qs);
    EXPECT_EQ(record.message_type(), u"d"_qs);
    EXPECT_EQ(record.message(), u"e"_qs);
}

TEST(VXStatusTableHeader, IsMadeOfTheTextsOfARow)
{
    const VXStatusTableHeader record{
        logTexts("date", "time", "comp", "type", "m\xC3\xA4\xE2\x82\xAC")};

    EXPECT_EQ(record.logComponent(), u"comp"_qs);
    EXPECT_EQ(record.Date(), u"date"_qs);
    EXPECT_EQ(record.Time(), u"time"_qs);
    EXPECT_EQ(record.message_type(), u"type"_qs);
    EXPECT_EQ(record.message(), u"mä€"_qs);
}

TEST(VXStatusTableHeader, KeepsNulCharacters)
{
    const VXStatusTableHeader record{logTexts("", "", "", "", {"a\0b", 3})};

    EXPECT_EQ(record.message().size(), 3);
    EXPECT_EQ(record.message()[1], QChar{});
}

TEST(VXStatusTableHeader, AnswersByKey)
{
    const VXStatusTableHeader record{logTexts("date", "time", "comp", "type", "message")};

    EXPECT_EQ(record.valueForKey(u"logComponent"_qs), QVariant{u"comp"_qs});
    EXPECT_EQ(record.valueForKey(u"Date"_qs), QVariant{u"date"_qs});
    EXPECT_EQ(record.valueForKey(u"Time"_qs), QVariant{u"time"_qs});
    EXPECT_EQ(record.valueForKey(u"message_type"_qs), QVariant{u"type"_qs});
    EXPECT_EQ(record.valueForKey(u"message"_qs), QVariant{u"message"_qs});
}

TEST(VXStatusTableHeader, AnswersUnknownKeysWithNothing)
{
    const VXStatusTableHeader record;

    for (const QString& key : {u""_qs, u"date"_qs, u"DATE"_qs, u"offset"_qs, u"Date "_qs})
        EXPECT_FALSE(record.valueForKey(key).isValid()) << key.toStdString();
}

TEST(VXStatusTableHeader, CanBeReadAndSetByPropertyName)
{
    const QMetaObject& type = VXStatusTableHeader::staticMetaObject;
    VXStatusTableHeader record;
    QStringList names;

    for (int i = 0; i < type.propertyCount(); ++i) {
        const QMetaProperty property = type.property(i);
        names << QString::fromLatin1(property.name());
        EXPECT_TRUE(property.writeOnGadget(&record, names.back() + u"!"_qs));
    }

    EXPECT_EQ(names, (QStringList{u"logComponent"_qs, u"Date"_qs, u"Time"_qs, u"message_type"_qs,
                                  u"message"_qs}));
    EXPECT_EQ(record.logComponent(), u"logComponent!"_qs);
    EXPECT_EQ(record.Date(), u"Date!"_qs);
    EXPECT_EQ(record.Time(), u"Time!"_qs);
    EXPECT_EQ(record.message_type(), u"message_type!"_qs);
    EXPECT_EQ(record.message(), u"message!"_qs);
}

TEST(VXStatusTableHeader, IsAValueOfItsOwnWhenCopied)
{
    VXStatusTableHeader first;
    const VXStatusTableHeader second = first;

    first.setMessage(u"other"_qs);

    EXPECT_EQ(second.message(), u"message is:"_qs);
}

} // namespace
} // namespace veltra
