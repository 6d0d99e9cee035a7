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

/// Thrown when an object is asked for a selector that it does not have.
class UnrecognizedSelector : public std::invalid_argument {
  public:
    using std::invalid_argument::invalid_argument;
};

/// The selector of an invokable method: its name, followed by a colon for each parameter. From the
/// second parameter on, the parameter's name comes before its colon. `f()` is "f", `f(a, b)` is
/// "f:b:".
[[nodiscard]] QByteArray selectorOf(const QMetaMethod& method);

/// Forwards every message that it does not handle itself to its target, on the main thread, while
/// the sender waits.
///
/// The target's public Q_INVOKABLE methods and slots with up to ten parameters can be called, named
/// by selector (see selectorOf). If several methods have the same selector, one that takes the
/// given arguments is preferred; among equals, the first method of the most derived class is used.
/// A selector that neither side has throws UnrecognizedSelector on the sending thread, before
/// anything reaches the main thread. A message sent on the main thread runs at once. Other threads
/// must not send while the main thread waits for them; once the main thread's event loop is closed
/// (see MainQueue::close) they get std::runtime_error. The proxy does not keep its target alive:
/// messages to a destroyed target do nothing. A target must be destroyed on the main thread. All
/// functions may be called from any thread.
class VXStatusMainThread : public QObject, public std::enable_shared_from_this<VXStatusMainThread> {
    Q_OBJECT

  public:
    /// A proxy for `target`, which must be alive at this time.
    [[nodiscard]] static std::shared_ptr<VXStatusMainThread> initWithTarget(QObject* target);

    /// Whether the proxy itself or its target has `selector`.
    /// Not used by the program itself; part of the interface.
    Q_INVOKABLE bool respondsToSelector(const QByteArray& selector) const;

    /// Sends a message with no argument or with one. A message that the proxy handles itself runs
    /// on the calling thread and its result is returned; the result of a forwarded message is not.
    /// Arguments and exceptions as for forwardInvocation().
    /// Not used by the program itself; part of the interface.
    Q_INVOKABLE QVariant performSelector(const QByteArray& selector);
    Q_INVOKABLE QVariant performSelector(const QByteArray& selector, const QVariant& withObject);

    /// The method that `selector` names: the proxy's own if it has one, otherwise the target's; an
    /// invalid one if neither has it.
    [[nodiscard]] Q_INVOKABLE QMetaMethod
    methodSignatureForSelector(const QByteArray& selector) const;

    /// Sends any message to the target and returns its actual result (invalid for void). Arguments
    /// are converted to the parameters' types; if one cannot be converted, or their number is
    /// wrong, std::invalid_argument is thrown on the sending thread. Exceptions from the target are
    /// rethrown here.
    Q_INVOKABLE QVariant forwardInvocation(const QByteArray& selector,
                                           const QVariantList& arguments);

    /// This proxy itself: a proxy is never wrapped in another.
    [[nodiscard]] Q_INVOKABLE std::shared_ptr<VXStatusMainThread> mainThreadProxy();
    [[nodiscard]] Q_INVOKABLE std::shared_ptr<VXStatusMainThread> copyMainThreadProxy();

  private:
    explicit VXStatusMainThread(QObject* target);
    QVariant perform(const QByteArray& selector, const QVariantList& arguments);

    QPointer<QObject> target_;
    const QMetaObject* targetClass_;
};

/// A proxy for any object; the object itself if it already is a proxy.
[[nodiscard]] std::shared_ptr<VXStatusMainThread> mainThreadProxy(QObject* object);
[[nodiscard]] std::shared_ptr<VXStatusMainThread> copyMainThreadProxy(QObject* object);

} // namespace veltra
