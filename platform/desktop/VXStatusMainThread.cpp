#include "platform/desktop/VXStatusMainThread.h"

#include "platform/desktop/MainQueue.h"

#include <QGenericArgument>
#include <QGenericReturnArgument>
#include <QMetaType>

#include <array>
#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace veltra {

namespace {

// The limit of QMetaMethod::invoke.
constexpr int mostArguments = 10;

bool canBeSent(const QMetaMethod& method)
{
    const auto type = method.methodType();
    return method.access() == QMetaMethod::Public &&
           (type == QMetaMethod::Method || type == QMetaMethod::Slot) &&
           method.parameterCount() <= mostArguments;
}

/// The methods that `selector` names in one class, without inherited ones.
std::vector<QMetaMethod> ownMethods(const QMetaObject& metaObject, const QByteArray& selector)
{
    std::vector<QMetaMethod> methods;
    for (int i = metaObject.methodOffset(); i < metaObject.methodCount(); ++i) {
        const QMetaMethod method = metaObject.method(i);
        if (canBeSent(method) && selectorOf(method) == selector)
            methods.push_back(method);
    }
    return methods;
}

/// The methods that `selector` names in a class and its base classes, the most derived first.
std::vector<QMetaMethod> allMethods(const QMetaObject* metaObject, const QByteArray& selector)
{
    std::vector<QMetaMethod> methods;
    for (; metaObject; metaObject = metaObject->superClass()) {
        const auto own = ownMethods(*metaObject, selector);
        methods.insert(methods.end(), own.begin(), own.end());
    }
    return methods;
}

bool isVariant(QMetaType type)
{
    return type == QMetaType::fromType<QVariant>();
}

/// A method with arguments of exactly its parameters' types.
struct Call {
    QMetaMethod method;
    QVariantList arguments;
};

std::optional<Call> matchingCall(const QMetaMethod& method, const QVariantList& arguments)
{
    if (arguments.size() != method.parameterCount())
        return std::nullopt;

    Call call{method, arguments};
    for (int i = 0; i < method.parameterCount(); ++i) {
        const QMetaType type = method.parameterMetaType(i);
        QVariant& argument = call.arguments[i];
        if (!isVariant(type) && argument.metaType() != type && !argument.convert(type))
            return std::nullopt;
    }
    return call;
}

/// The call for `selector` and `arguments`, chosen from the methods that `selector` names.
Call chosenCall(const std::vector<QMetaMethod>& methods, const QByteArray& selector,
                const QVariantList& arguments)
{
    if (methods.empty())
        throw UnrecognizedSelector{"unrecognized selector " + selector.toStdString()};

    for (const QMetaMethod& method : methods) {
        if (auto call = matchingCall(method, arguments))
            return *std::move(call);
    }
    throw std::invalid_argument{"unfit arguments for selector " + selector.toStdString()};
}

void* dataOf(QVariant& value, QMetaType type)
{
    return isVariant(type) ? &value : value.data();
}

QVariant invoke(QObject* object, Call& call)
{
    const QMetaMethod& method = call.method;
    std::array<QGenericArgument, mostArguments> arguments;
    for (int i = 0; i < method.parameterCount(); ++i) {
        const QMetaType type = method.parameterMetaType(i);
        arguments[static_cast<std::size_t>(i)] =
            QGenericArgument{type.name(), dataOf(call.arguments[i], type)};
    }

    const QMetaType resultType = method.returnMetaType();
    QVariant result = isVariant(resultType) ? QVariant{} : QVariant{resultType};
    const QGenericReturnArgument returned{method.typeName(), dataOf(result, resultType)};
    std::apply(
        [&](const auto&... each) {
            method.invoke(object, Qt::DirectConnection, returned, each...);
        },
        arguments);
    return result;
}

} // namespace

QByteArray selectorOf(const QMetaMethod& method)
{
    QByteArray selector = method.name();
    const QList<QByteArray> parameters = method.parameterNames();
    for (qsizetype i = 0; i < parameters.size(); ++i)
        selector += (i == 0 ? QByteArray{} : parameters[i]) + ':';
    return selector;
}

VXStatusMainThread::VXStatusMainThread(QObject* target)
    : target_{target}, targetClass_{target->metaObject()}
{
}

std::shared_ptr<VXStatusMainThread> VXStatusMainThread::initWithTarget(QObject* target)
{
    return std::shared_ptr<VXStatusMainThread>{new VXStatusMainThread{target}};
}

bool VXStatusMainThread::respondsToSelector(const QByteArray& selector) const
{
    return methodSignatureForSelector(selector).isValid();
}

QVariant VXStatusMainThread::performSelector(const QByteArray& selector)
{
    return perform(selector, {});
}

QVariant VXStatusMainThread::performSelector(const QByteArray& selector, const QVariant& withObject)
{
    return perform(selector, {withObject});
}

QVariant VXStatusMainThread::perform(const QByteArray& selector, const QVariantList& arguments)
{
    const auto own = ownMethods(staticMetaObject, selector);
    if (own.empty()) {
        forwardInvocation(selector, arguments);
        return {};
    }

    Call call = chosenCall(own, selector, arguments);
    return invoke(this, call);
}

QMetaMethod VXStatusMainThread::methodSignatureForSelector(const QByteArray& selector) const
{
    auto methods = ownMethods(staticMetaObject, selector);
    if (methods.empty())
        methods = allMethods(targetClass_, selector);
    return methods.empty() ? QMetaMethod{} : methods.front();
}

QVariant VXStatusMainThread::forwardInvocation(const QByteArray& selector,
                                               const QVariantList& arguments)
{
    Call call = chosenCall(allMethods(targetClass_, selector), selector, arguments);

    QVariant result;
    MainQueue::runAndWait([&] {
        if (QObject* target = target_.data())
            result = invoke(target, call);
    });
    return result;
}

std::shared_ptr<VXStatusMainThread> VXStatusMainThread::mainThreadProxy()
{
    return shared_from_this();
}

std::shared_ptr<VXStatusMainThread> VXStatusMainThread::copyMainThreadProxy()
{
    return shared_from_this();
}

std::shared_ptr<VXStatusMainThread> mainThreadProxy(QObject* object)
{
    if (auto* proxy = qobject_cast<VXStatusMainThread*>(object))
        return proxy->mainThreadProxy();
    return VXStatusMainThread::initWithTarget(object);
}

std::shared_ptr<VXStatusMainThread> copyMainThreadProxy(QObject* object)
{
    return mainThreadProxy(object);
}

} // namespace veltra
