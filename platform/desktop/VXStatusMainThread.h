#pragma once

#include <QByteArray>
#include <QMetaMethod>
#include <QObject>
#include <QPointer>
#include <QVariant>
#include <QVariantList>

#include <memory>
#include <stdexcept>

namespace veltra {

/// Raised when an object is asked for a selector that it does not answer.
class UnrecognizedSelector : public std::invalid_argument {
  public:
    using std::invalid_argument::invalid_argument;
};

/// The selector of an invokable method: its name, and for each parameter a colon; from the second
/// parameter on, the parameter's name stands before its colon. `f()` is "f", `f(a, b)` is "f:b:".
[[nodiscard]] QByteArray selectorOf(const QMetaMethod& method);

/// Carries out every message that it does not answer itself on its target, on the main thread,
/// while the sender waits.
///
/// What can be sent are the target's public Q_INVOKABLE methods and slots of up to ten
/// parameters, named by selector (see selectorOf). Of several methods with one selector the most
/// derived class's first one is meant, but rather one that takes the arguments given. A selector
/// that neither side answers raises UnrecognizedSelector on the sending thread, before anything
/// reaches the main thread. A message sent on the main thread runs at once. Other threads must
/// not send while the main thread waits for them; once the main thread's event loop is closed
/// (see MainQueue::close) they get std::runtime_error. The proxy does not keep its target alive:
/// messages to a target that is gone do nothing. A target is destroyed on the main thread. All
/// functions may be called from any thread.
class VXStatusMainThread : public QObject, public std::enable_shared_from_this<VXStatusMainThread> {
    Q_OBJECT

  public:
    /// A proxy for `target`, which must be alive now.
    [[nodiscard]] static std::shared_ptr<VXStatusMainThread> initWithTarget(QObject* target);

    /// Whether the proxy itself or its target answers `selector`.
    Q_INVOKABLE bool respondsToSelector(const QByteArray& selector) const;

    /// Sends a message without or with one argument. The result of a message that the proxy
    /// itself answers, on the calling thread, is returned; that of a forwarded one is not handed
    /// back. Arguments and exceptions as for forwardInvocation().
    Q_INVOKABLE QVariant performSelector(const QByteArray& selector);
    Q_INVOKABLE QVariant performSelector(const QByteArray& selector, const QVariant& withObject);

    /// The method that `selector` names: the proxy's own if there is one, else the target's; an
    /// invalid one if there is neither.
    [[nodiscard]] Q_INVOKABLE QMetaMethod
    methodSignatureForSelector(const QByteArray& selector) const;

    /// Sends any message to the target and returns its real result (invalid for void). Arguments
    /// are converted to the parameters' types; one that cannot be, and a wrong number of them,
    /// raise std::invalid_argument on the sending thread. What the target throws is thrown here.
    Q_INVOKABLE QVariant forwardInvocation(const QByteArray& selector,
                                           const QVariantList& arguments);

    /// This very proxy: a proxy is never wrapped in another.
    [[nodiscard]] Q_INVOKABLE std::shared_ptr<VXStatusMainThread> mainThreadProxy();
    [[nodiscard]] Q_INVOKABLE std::shared_ptr<VXStatusMainThread> copyMainThreadProxy();

  private:
    explicit VXStatusMainThread(QObject* target);
    QVariant perform(const QByteArray& selector, const QVariantList& arguments);

    QPointer<QObject> target_;
    const QMetaObject* targetClass_;
};

/// A proxy for any object; the object itself when it is a proxy already.
[[nodiscard]] std::shared_ptr<VXStatusMainThread> mainThreadProxy(QObject* object);
[[nodiscard]] std::shared_ptr<VXStatusMainThread> copyMainThreadProxy(QObject* object);

} // namespace veltra
