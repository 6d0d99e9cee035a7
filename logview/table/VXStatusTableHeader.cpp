#include "logview/table/VXStatusTableHeader.h"

#include <QMetaProperty>

namespace veltra {

namespace {

QString toText(std::string_view utf8)
{
    return QString::fromUtf8(utf8.data(), static_cast<qsizetype>(utf8.size()));
}

} // namespace

VXStatusTableHeader::VXStatusTableHeader(const LogLineTexts& texts)
    : logComponent_{toText(texts[LogField::component])}, date_{toText(texts[LogField::date])},
      time_{toText(texts[LogField::time])},
      messageType_{toText(texts[LogField::messageType])}, message_{toText(texts[LogField::message])}
{
}

QVariant VXStatusTableHeader::valueForKey(const QString& key) const
{
    const int index = staticMetaObject.indexOfProperty(key.toUtf8().constData());
    return index < 0 ? QVariant{} : staticMetaObject.property(index).readOnGadget(this);
}

} // namespace veltra
