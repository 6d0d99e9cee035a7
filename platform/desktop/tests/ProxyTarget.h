#pragma once

#include <QObject>
#include <QString>
#include <QVariant>

#include <stdexcept>
#include <string>
#include <thread>

namespace veltra {

/// The target for messages in the main-thread proxy's tests; records the threads they arrive on.
class ProxyTarget : public QObject {
    Q_OBJECT

  public:
    int count = 0;
    QVariant lastArgument;
    std::thread::id thread;

    Q_INVOKABLE void touch() { note({}); }
    Q_INVOKABLE void take(const QString& text) { note(text); }
    Q_INVOKABLE void takeAny(const QVariant& value) { note(value); }
    Q_INVOKABLE void takeObject(QObject* object) { note(QVariant::fromValue(object)); }
    Q_INVOKABLE QVariant anything() { return 23; }
    Q_INVOKABLE int sum(int first, int second)
    {
        note({});
        return first + second;
    }
    Q_INVOKABLE QString joined(const QString& a, const QString& b, const QString& c,
                               const QString& d, const QString& e, const QString& f,
                               const QString& g, const QString& h, const QString& i,
                               const QString& j)
    {
        return a + b + c + d + e + f + g + h + i + j;
    }
    Q_INVOKABLE QString kindOf(int) { return QStringLiteral("number"); }
    Q_INVOKABLE QString kindOf(const QString&) { return QStringLiteral("text"); }
    Q_INVOKABLE QString origin() { return QStringLiteral("base"); }
    Q_INVOKABLE QString fail(const QString& reason)
    {
        throw std::out_of_range{reason.toStdString()};
    }
    Q_INVOKABLE void withDefaults(int first, int second = 2) { note(first + second); }

    // Names that the proxy has too.
    Q_INVOKABLE bool respondsToSelector(const QByteArray&) { return false; }

  public Q_SLOTS:
    void slot() { note({}); }

  protected:
    Q_INVOKABLE void hidden() { note({}); }

  private Q_SLOTS:
    void secret() { note({}); }

  Q_SIGNALS:
    void announced();

  private:
    void note(const QVariant& argument)
    {
        ++count;
        lastArgument = argument;
        thread = std::this_thread::get_id();
    }
};

class DerivedProxyTarget : public ProxyTarget {
    Q_OBJECT

  public:
    Q_INVOKABLE QString origin() { return QStringLiteral("derived"); }
};

} // namespace veltra
