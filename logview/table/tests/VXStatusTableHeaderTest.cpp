#include "logview/table/VXStatusTableHeader.h"

#include "logview/rows/tests/LogTexts.h"

#include <QMetaProperty>
#include <QStringList>

#include <gtest/gtest.h>

namespace veltra {
namespace {

TEST(VXStatusTableHeader, HoldsItsPlaceholdersAtFirst)
{
    const VXStatusTableHeader record;

    EXPECT_EQ(record.logComponent(), QStringLiteral("Component"));
    EXPECT_EQ(record.Date(), QStringLiteral("Todays date"));
    EXPECT_EQ(record.Time(), QStringLiteral("Todays time"));
    EXPECT_EQ(record.message_type(), QStringLiteral("message type is:"));
    EXPECT_EQ(record.message(), QStringLiteral("message is:"));
}

TEST(VXStatusTableHeader, HoldsWhatItsPropertiesAreSetTo)
{
    VXStatusTableHeader record;

    record.setLogComponent(QStringLiteral("a"));
    record.setDate(QStringLiteral("b"));
    record.setTime(QStringLiteral("c"));
    record.setMessage_type(QStringLiteral("d"));
    record.setMessage(QStringLiteral("e"));

    EXPECT_EQ(record.logComponent(), QStringLiteral("a"));
    EXPECT_EQ(record.Date(), QStringLiteral("b"));
    EXPECT_EQ(record.Time(), QStringLiteral("c"));
    EXPECT_EQ(record.message_type(), QStringLiteral("d"));
    EXPECT_EQ(record.message(), QStringLiteral("e"));
}

TEST(VXStatusTableHeader, IsMadeOfTheTextsOfARow)
{
    const VXStatusTableHeader record{
        logTexts("date", "time", "comp", "type", "m\xC3\xA4\xE2\x82\xAC")};

    EXPECT_EQ(record.logComponent(), QStringLiteral("comp"));
    EXPECT_EQ(record.Date(), QStringLiteral("date"));
    EXPECT_EQ(record.Time(), QStringLiteral("time"));
    EXPECT_EQ(record.message_type(), QStringLiteral("type"));
    EXPECT_EQ(record.message(), QStringLiteral("mä€"));
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

    EXPECT_EQ(record.valueForKey(QStringLiteral("logComponent")), QVariant{QStringLiteral("comp")});
    EXPECT_EQ(record.valueForKey(QStringLiteral("Date")), QVariant{QStringLiteral("date")});
    EXPECT_EQ(record.valueForKey(QStringLiteral("Time")), QVariant{QStringLiteral("time")});
    EXPECT_EQ(record.valueForKey(QStringLiteral("message_type")), QVariant{QStringLiteral("type")});
    EXPECT_EQ(record.valueForKey(QStringLiteral("message")), QVariant{QStringLiteral("message")});
}

TEST(VXStatusTableHeader, AnswersUnknownKeysWithNothing)
{
    const VXStatusTableHeader record;

    for (const QString& key : {QStringLiteral(""), QStringLiteral("date"), QStringLiteral("DATE"),
                               QStringLiteral("offset"), QStringLiteral("Date ")})
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
        EXPECT_TRUE(property.writeOnGadget(&record, names.back() + QStringLiteral("!")));
    }

    EXPECT_EQ(names, (QStringList{QStringLiteral("logComponent"), QStringLiteral("Date"),
                                  QStringLiteral("Time"), QStringLiteral("message_type"),
                                  QStringLiteral("message")}));
    EXPECT_EQ(record.logComponent(), QStringLiteral("logComponent!"));
    EXPECT_EQ(record.Date(), QStringLiteral("Date!"));
    EXPECT_EQ(record.Time(), QStringLiteral("Time!"));
    EXPECT_EQ(record.message_type(), QStringLiteral("message_type!"));
    EXPECT_EQ(record.message(), QStringLiteral("message!"));
}

TEST(VXStatusTableHeader, IsAValueOfItsOwnWhenCopied)
{
    VXStatusTableHeader first;
    const VXStatusTableHeader second = first;

    first.setMessage(QStringLiteral("other"));

    EXPECT_EQ(second.message(), QStringLiteral("message is:"));
}

} // namespace
} // namespace veltra
