#include "logview/table/VXStatusTableHeader.h"

#include "logview/table/LogText.h"

#include <QMetaProperty>

namespace veltra {

VXStatusTableHeader::VXStatusTableHeader(const LogLineTexts& texts)
    : logComponent_{logText(texts[LogField::component])}, date_{logText(texts[LogField::date])},
      time_{logText(texts[LogField::time])}, messageType_{logText(texts[LogField::messageType])},
      message_{logText(texts[LogField::message])}
{
}

QVariant VXStatusTableHeader::valueForKey(const QString& key) const
{
    const int index = staticMetaObject.indexOfProperty(key.toUtf8().constData());
    return index < 0 ? QVariant{} : staticMetaObject.property(index).readOnGadget(this);
}

} // namespace veltra
