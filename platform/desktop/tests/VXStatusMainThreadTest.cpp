#include "platform/desktop/VXStatusMainThread.h"

#include "platform/base/tests/SleepingThread.h"
#include "platform/desktop/NotificationCenter.h"
#include "platform/desktop/tests/ProxyTarget.h"
#include "platform/desktop/tests/QtEventLoop.h"

#include <QCoreApplication>
#include <QEvent>
#include <QPointer>
#include <QRectF>

#include <future>
#include <memory>
#include <stdexcept>
#include <string>
#include <thread>

#include <gtest/gtest.h>

namespace veltra {
namespace {

QByteArray selectorOfMethod(const QMetaObject& metaObject, const char* signature)
{
    return selectorOf(metaObject.method(metaObject.indexOfMethod(signature)));
}

/// Runs `work` on another thread while the main thread does not run its event loop.
void runWhileMainThreadIsBusy(const std::function<void()>& work)
{
    auto done = std::async(std::launch::async, work);
    ASSERT_EQ(done.wait_for(std::chrono::minutes{1}), std::future_status::ready);
    done.get();
}

TEST(SelectorOf, NamesTheMethodAndItsLaterParameters)
{
    const QMetaObject& target = ProxyTarget::staticMetaObject;

    EXPECT_EQ(selectorOfMethod(target, "touch()"), "touch");
    EXPECT_EQ(selectorOfMethod(target, "take(QString)"), "take:");
    EXPECT_EQ(selectorOfMethod(target, "sum(int,int)"), "sum:second:");
}

TEST(SelectorOf, GivesMethodsWithDefaultArgumentsSeveralSelectors)
{
    const QMetaObject& center = NotificationCenter::staticMetaObject;

    EXPECT_EQ(selectorOfMethod(center, "postNotificationName(QString)"), "postNotificationName:");
    EXPECT_EQ(selectorOfMethod(center, "postNotificationName(QString,QVariant)"),
              "postNotificationName:object:");
    EXPECT_EQ(selectorOfMethod(center, "postNotificationName(QString,QVariant,QVariantMap)"),
              "postNotificationName:object:userInfo:");
}

TEST(VXStatusMainThread, AnswersSelectorsOfItsTarget)
{
    DerivedProxyTarget target;

    const auto proxy = mainThreadProxy(&target);

    EXPECT_TRUE(proxy->respondsToSelector("touch"));
    EXPECT_TRUE(proxy->respondsToSelector("sum:second:"));
    EXPECT_TRUE(proxy->respondsToSelector("slot"));
    EXPECT_TRUE(proxy->respondsToSelector("deleteLater"));
}

TEST(VXStatusMainThread, AnswersItsOwnSelectors)
{
    QObject target;

    const auto proxy = mainThreadProxy(&target);

    EXPECT_TRUE(proxy->respondsToSelector("mainThreadProxy"));
    EXPECT_TRUE(proxy->respondsToSelector("copyMainThreadProxy"));
    EXPECT_TRUE(proxy->respondsToSelector("respondsToSelector:"));
    EXPECT_TRUE(proxy->respondsToSelector("performSelector:withObject:"));
    EXPECT_TRUE(proxy->respondsToSelector("forwardInvocation:arguments:"));
}

TEST(VXStatusMainThread, AnswersNeitherHiddenMethodsNorSignalsNorUnknownSelectors)
{
    ProxyTarget target;

    const auto proxy = mainThreadProxy(&target);

    EXPECT_FALSE(proxy->respondsToSelector("hidden"));
    EXPECT_FALSE(proxy->respondsToSelector("secret"));
    EXPECT_FALSE(proxy->respondsToSelector("announced"));
    EXPECT_FALSE(proxy->respondsToSelector("take"));
    EXPECT_FALSE(proxy->respondsToSelector("nothing:of:this:"));
}

TEST(VXStatusMainThread, GivesItsOwnMethodBeforeItsTargets)
{
    ProxyTarget target;
    const auto proxy = mainThreadProxy(&target);

    const QMetaMethod own = proxy->methodSignatureForSelector("respondsToSelector:");
    const QMetaMethod targets = proxy->methodSignatureForSelector("sum:second:");
    const QMetaMethod none = proxy->methodSignatureForSelector("nothing");

    EXPECT_EQ(own.enclosingMetaObject(), &VXStatusMainThread::staticMetaObject);
    EXPECT_EQ(targets.methodSignature(), "sum(int,int)");
    EXPECT_EQ(targets.returnMetaType(), QMetaType::fromType<int>());
    EXPECT_FALSE(none.isValid());
}

TEST(VXStatusMainThread, RaisesForAnUnknownSelectorWithoutTheMainThread)
{
    ProxyTarget target;
    const auto proxy = mainThreadProxy(&target);

    runWhileMainThreadIsBusy([&] {
        EXPECT_THROW(proxy->performSelector("nothing"), UnrecognizedSelector);
        EXPECT_THROW(proxy->performSelector("nothing:", 1), UnrecognizedSelector);
        EXPECT_THROW(proxy->forwardInvocation("nothing:of:this:", {1, 2, 3}), UnrecognizedSelector);
        EXPECT_THROW(proxy->forwardInvocation("hidden", {}), UnrecognizedSelector);
        EXPECT_THROW(proxy->forwardInvocation("mainThreadProxy", {}), UnrecognizedSelector);
    });

    EXPECT_EQ(target.count, 0);
}

TEST(VXStatusMainThread, RaisesForUnfitArgumentsWithoutTheMainThread)
{
    ProxyTarget target;
    const auto proxy = mainThreadProxy(&target);
    const QVariant word = QStringLiteral("no number");

    runWhileMainThreadIsBusy([&] {
        EXPECT_THROW(proxy->forwardInvocation("sum:second:", {1}), std::invalid_argument);
        EXPECT_THROW(proxy->forwardInvocation("sum:second:", {1, 2, 3}), std::invalid_argument);
        EXPECT_THROW(proxy->forwardInvocation("sum:second:", {1, word}), std::invalid_argument);
        EXPECT_THROW(proxy->forwardInvocation("touch", {1}), std::invalid_argument);
        EXPECT_THROW(proxy->performSelector("take:"), std::invalid_argument);
        EXPECT_THROW(proxy->performSelector("takeObject:", 1), std::invalid_argument);
    });

    EXPECT_EQ(target.count, 0);
}

TEST(VXStatusMainThread, IsItsOwnProxy)
{
    QObject target;
    const auto proxy = copyMainThreadProxy(&target);

    EXPECT_EQ(proxy->mainThreadProxy(), proxy);
    EXPECT_EQ(proxy->copyMainThreadProxy(), proxy);
    EXPECT_EQ(mainThreadProxy(proxy.get()), proxy);
    EXPECT_EQ(copyMainThreadProxy(proxy.get()), proxy);
    EXPECT_NE(mainThreadProxy(&target), proxy);
}

TEST(VXStatusMainThread, PerformsItsOwnSelectorsOnTheCallingThread)
{
    ProxyTarget target;
    const auto proxy = mainThreadProxy(&target);
    using Proxy = std::shared_ptr<VXStatusMainThread>;

    runWhileMainThreadIsBusy([&] {
        EXPECT_EQ(proxy->performSelector("mainThreadProxy").value<Proxy>(), proxy);
        EXPECT_EQ(proxy->performSelector("copyMainThreadProxy").value<Proxy>(), proxy);
        EXPECT_EQ(proxy->performSelector("respondsToSelector:", QByteArrayLiteral("touch")),
                  QVariant(true));
        EXPECT_EQ(proxy->performSelector("respondsToSelector:", QByteArrayLiteral("nothing")),
                  QVariant(false));
    });
}

TEST(VXStatusMainThread, PerformsASelectorOnTheMainThreadAndHandsNoResultBack)
{
    ProxyTarget target;
    const auto proxy = mainThreadProxy(&target);
    QVariant result = 1;
    int countSeenBySender = 0;

    const bool hasEnded = runOnWorker([&] {
        result = proxy->performSelector("touch");
        countSeenBySender = target.count;
    });

    EXPECT_TRUE(hasEnded);
    EXPECT_FALSE(result.isValid());
    EXPECT_EQ(countSeenBySender, 1);
    EXPECT_EQ(target.thread, std::this_thread::get_id());
}

TEST(VXStatusMainThread, HandsNoResultBackEvenWhenThereIsOne)
{
    ProxyTarget target;
    const auto proxy = mainThreadProxy(&target);

    EXPECT_FALSE(proxy->performSelector("origin").isValid());
    EXPECT_FALSE(proxy->performSelector("kindOf:", 1).isValid());
}

TEST(VXStatusMainThread, PerformsASelectorWithOneArgument)
{
    ProxyTarget target;
    const auto proxy = mainThreadProxy(&target);
    QVariant result = 1;

    const bool hasEnded =
        runOnWorker([&] { result = proxy->performSelector("take:", QStringLiteral("word")); });

    EXPECT_TRUE(hasEnded);
    EXPECT_FALSE(result.isValid());
    EXPECT_EQ(target.lastArgument, QVariant(QStringLiteral("word")));
    EXPECT_EQ(target.thread, std::this_thread::get_id());
}

TEST(VXStatusMainThread, ForwardsAnInvocationAndReturnsItsResult)
{
    ProxyTarget target;
    const auto proxy = mainThreadProxy(&target);
    QVariant result;

    const bool hasEnded = runOnWorker([&] {
        result = proxy->forwardInvocation("sum:second:", {40, 2});
    });

    EXPECT_TRUE(hasEnded);
    EXPECT_EQ(result, QVariant(42));
    EXPECT_EQ(target.thread, std::this_thread::get_id());
}

TEST(VXStatusMainThread, KeepsTheSenderWaitingForTheMainThread)
{
    ProxyTarget target;
    const auto proxy = mainThreadProxy(&target);
    QVariant result;
    SleepingThread sender{[&] { result = proxy->forwardInvocation("sum:second:", {40, 2}); }};

    const bool didWait = sender.waitUntilAsleep();
    const int countWhileWaiting = target.count;
    const bool hasRun = runLoopUntil([&] { return target.count == 1; });
    sender.join();

    EXPECT_TRUE(didWait);
    EXPECT_EQ(countWhileWaiting, 0);
    EXPECT_TRUE(hasRun);
    EXPECT_EQ(result, QVariant(42));
}

TEST(VXStatusMainThread, RunsAtOnceOnTheMainThread)
{
    ProxyTarget target;
    const auto proxy = mainThreadProxy(&target);

    const QVariant result = proxy->forwardInvocation("sum:second:", {1, 2});

    EXPECT_EQ(result, QVariant(3));
}

TEST(VXStatusMainThread, ConvertsArgumentsAndUnwrapsVariants)
{
    ProxyTarget target;
    const auto proxy = mainThreadProxy(&target);

    const QVariant sum = proxy->forwardInvocation("sum:second:", {QStringLiteral("40"), 2});
    const QVariant unwrapped = proxy->forwardInvocation("anything", {});
    const QVariant nothing = proxy->forwardInvocation("takeAny:", {QVariant{}});
    const QVariant argumentOfNothing = target.lastArgument;
    proxy->forwardInvocation("takeObject:", {QVariant::fromValue(&target)});

    EXPECT_EQ(sum, QVariant(42));
    EXPECT_EQ(unwrapped, QVariant(23));
    EXPECT_FALSE(nothing.isValid());
    EXPECT_FALSE(argumentOfNothing.isValid());
    EXPECT_EQ(target.lastArgument.value<QObject*>(), &target);
}

TEST(VXStatusMainThread, ForwardsTenArguments)
{
    ProxyTarget target;
    const auto proxy = mainThreadProxy(&target);
    const QVariantList letters{QStringLiteral("a"), QStringLiteral("b"), QStringLiteral("c"),
                               QStringLiteral("d"), QStringLiteral("e"), QStringLiteral("f"),
                               QStringLiteral("g"), QStringLiteral("h"), QStringLiteral("i"),
                               QStringLiteral("j")};

    const QVariant result = proxy->forwardInvocation("joined:b:c:d:e:f:g:h:i:j:", letters);

    EXPECT_EQ(result, QVariant(QStringLiteral("abcdefghij")));
}

TEST(VXStatusMainThread, PrefersTheOverloadThatTakesTheArguments)
{
    ProxyTarget target;
    const auto proxy = mainThreadProxy(&target);

    EXPECT_EQ(proxy->forwardInvocation("kindOf:", {7}), QVariant(QStringLiteral("number")));
    EXPECT_EQ(proxy->forwardInvocation("kindOf:", {QStringLiteral("seven")}),
              QVariant(QStringLiteral("text")));
}

TEST(VXStatusMainThread, PrefersTheMostDerivedClass)
{
    DerivedProxyTarget target;
    const auto proxy = mainThreadProxy(&target);

    EXPECT_EQ(proxy->forwardInvocation("origin", {}), QVariant(QStringLiteral("derived")));
}

TEST(VXStatusMainThread, LeavesToItsTargetWhatItInherits)
{
    const QPointer<QObject> target{new QObject};
    const auto proxy = mainThreadProxy(target);

    proxy->performSelector("deleteLater");
    QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);

    EXPECT_TRUE(target.isNull());
}

TEST(VXStatusMainThread, HandsVariantsOnAsTheyAre)
{
    ProxyTarget target;
    const auto proxy = mainThreadProxy(&target);
    const QVariant large = QRectF{1, 2, 3, 4};

    proxy->forwardInvocation("takeAny:", {large});

    EXPECT_EQ(target.lastArgument, large);
}

TEST(VXStatusMainThread, FillsInDefaultArguments)
{
    ProxyTarget target;
    const auto proxy = mainThreadProxy(&target);

    proxy->forwardInvocation("withDefaults:", {40});
    const QVariant withDefault = target.lastArgument;
    proxy->forwardInvocation("withDefaults:second:", {40, 3});

    EXPECT_EQ(withDefault, QVariant(42));
    EXPECT_EQ(target.lastArgument, QVariant(43));
}

TEST(VXStatusMainThread, ForwardsASelectorOfItsOwnOnlyByInvocation)
{
    ProxyTarget target;
    const auto proxy = mainThreadProxy(&target);
    const QByteArray selector = "touch";

    EXPECT_EQ(proxy->forwardInvocation("respondsToSelector:", {selector}), QVariant(false));
    EXPECT_EQ(proxy->performSelector("respondsToSelector:", selector), QVariant(true));
}

TEST(VXStatusMainThread, ThrowsToTheSenderWhatTheTargetThrows)
{
    ProxyTarget target;
    const auto proxy = mainThreadProxy(&target);
    std::string caught;

    const bool hasEnded = runOnWorker([&] {
        try {
            proxy->performSelector("fail:", QStringLiteral("too far"));
        } catch (const std::out_of_range& error) {
            caught = error.what();
        }
    });

    EXPECT_TRUE(hasEnded);
    EXPECT_EQ(caught, "too far");
    EXPECT_THROW(proxy->performSelector("fail:", QStringLiteral("here too")), std::out_of_range);
}

TEST(VXStatusMainThread, DoesNothingForATargetThatIsGone)
{
    auto target = std::make_unique<ProxyTarget>();
    const auto proxy = mainThreadProxy(target.get());
    QVariant result = 1;

    target.reset();
    const bool hasEnded = runOnWorker([&] {
        result = proxy->forwardInvocation("sum:second:", {1, 2});
    });

    EXPECT_TRUE(hasEnded);
    EXPECT_FALSE(result.isValid());
    EXPECT_TRUE(proxy->respondsToSelector("touch"));
    EXPECT_THROW(proxy->performSelector("nothing"), UnrecognizedSelector);
}

TEST(VXStatusMainThread, DoesNothingForATargetThatDiesWhileTheSenderWaits)
{
    auto target = std::make_unique<ProxyTarget>();
    const auto proxy = mainThreadProxy(target.get());
    QVariant result = 1;
    bool hasReturned = false;
    SleepingThread sender{[&] {
        result = proxy->forwardInvocation("sum:second:", {1, 2});
        MainQueue::post([&] { hasReturned = true; });
    }};
    ASSERT_TRUE(sender.waitUntilAsleep());

    target.reset();
    const bool hasEnded = runLoopUntil([&] { return hasReturned; });
    sender.join();

    EXPECT_TRUE(hasEnded);
    EXPECT_FALSE(result.isValid());
}

TEST(VXStatusMainThread, DeliversAWorkersNotificationOnTheMainThread)
{
    NotificationCenter center;
    const auto proxy = mainThreadProxy(&center);
    Notification seen;
    std::thread::id handledOn;
    const auto registration =
        center.addObserver(QStringLiteral("Moved"), &center, [&](const Notification& notification) {
            seen = notification;
            handledOn = std::this_thread::get_id();
        });
    std::thread::id seenBySender;

    const bool hasEnded = runOnWorker([&] {
        proxy->forwardInvocation(
            "postNotificationName:object:userInfo:",
            {QStringLiteral("Moved"), QVariant::fromValue(&center),
             QVariantMap{{QStringLiteral("path"), QStringLiteral("/some/file")}}});
        seenBySender = handledOn;
    });

    EXPECT_TRUE(hasEnded);
    EXPECT_EQ(seen.name, QStringLiteral("Moved"));
    EXPECT_EQ(seen.userInfo, (QVariantMap{{QStringLiteral("path"), QStringLiteral("/some/file")}}));
    EXPECT_EQ(seenBySender, std::this_thread::get_id());
}

} // namespace
} // namespace veltra
