#pragma once

#include "logview/rows/LogLineScanner.h"

#include <QMetaType>
#include <QObject>
#include <QString>
#include <QVariant>

namespace veltra {

/// One shown log line. The table uses the names of its properties as keys for the texts of its
/// cells. A value; may be copied between threads. The program itself only reads the properties, by
/// name; setting them is part of the interface.
class VXStatusTableHeader {
    Q_GADGET
    Q_PROPERTY(QString logComponent READ logComponent WRITE setLogComponent)
    Q_PROPERTY(QString Date READ Date WRITE setDate)
    Q_PROPERTY(QString Time READ Time WRITE setTime)
    Q_PROPERTY(QString message_type READ message_type WRITE setMessage_type)
    Q_PROPERTY(QString message READ message WRITE setMessage)

  public:
    VXStatusTableHeader() = default;

    /// The record of a row with these texts.
    explicit VXStatusTableHeader(const LogLineTexts& texts);

    /// The component that wrote the line.
    [[nodiscard]] const QString& logComponent() const noexcept { return logComponent_; }
    void setLogComponent(const QString& text) { logComponent_ = text; }

    [[nodiscard]] const QString& Date() const noexcept { return date_; }
    void setDate(const QString& text) { date_ = text; }

    /// The time of day without fractions of a second.
    [[nodiscard]] const QString& Time() const noexcept { return time_; }
    void setTime(const QString& text) { time_ = text; }

    /// The severity word.
    [[nodiscard]] const QString& message_type() const noexcept { return messageType_; }
    void setMessage_type(const QString& text) { messageType_ = text; }

    [[nodiscard]] const QString& message() const noexcept { return message_; }
    void setMessage(const QString& text) { message_ = text; }

    /// The value of the property called `key`; invalid if there is no such property.
    [[nodiscard]] QVariant valueForKey(const QString& key) const;

  private:
    QString logComponent_ = QStringLiteral("Component");
    QString date_ = QStringLiteral("Todays date");
    QString time_ = QStringLiteral("Todays time");
    QString messageType_ = QStringLiteral("message type is:");
    QString message_ = QStringLiteral("message is:");
};

} // namespace veltra
