#include "platform/base/FairWorkers.h"

#include <chrono>
#include <condition_variable>
#include <map>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

namespace veltra {
namespace {

using namespace std::chrono_literals;

constexpr uid_t anna = 1001;
constexpr uid_t bert = 1002;

/// Work that lasts until it is let go, and what has been done.
class FairWorkersTest : public testing::Test {
  protected:
    void TearDown() override
    {
        letGo();
        EXPECT_TRUE(waitFor([this] { return running_ == 0; }));
    }

    /// Posts work that notes `name` when it begins, and lasts until letGo().
    void postLasting(FairWorkers& workers, uid_t user, const std::string& name)
    {
        workers.post(user, workers.takePlace(user), [this, name] {
            std::unique_lock lock{mutex_};
            begun_.push_back(name);
            ++running_;
            changed_.notify_all();
            changed_.wait(lock, [this] { return isLetGo_; });
            --running_;
            changed_.notify_all();
        });
    }

    /// Posts work that only notes `name`.
    void post(FairWorkers& workers, uid_t user, const std::string& name)
    {
        workers.post(user, workers.takePlace(user), [this, name] {
            const std::lock_guard lock{mutex_};
            begun_.push_back(name);
            changed_.notify_all();
        });
    }

    void letGo()
    {
        const std::lock_guard lock{mutex_};
        isLetGo_ = true;
        changed_.notify_all();
    }

    template <typename Condition>
    bool waitFor(const Condition& condition)
    {
        std::unique_lock lock{mutex_};
        return changed_.wait_for(lock, 60s, condition);
    }

    /// What has begun, once that is `count`.
    std::vector<std::string> begun(std::size_t count)
    {
        waitFor([&] { return begun_.size() >= count; });
        const std::lock_guard lock{mutex_};
        return begun_;
    }

  private:
    std::mutex mutex_;
    std::condition_variable changed_;
    std::vector<std::string> begun_;
    int running_ = 0;
    bool isLetGo_ = false;
};

using Names = std::vector<std::string>;

TEST_F(FairWorkersTest, ServesOthersWhileTheWorkOfOneUserNeverEnds)
{
    FairWorkers workers{2, 10};
    postLasting(workers, anna, "a1");
    postLasting(workers, anna, "a2");
    ASSERT_EQ(begun(1), Names{"a1"});

    post(workers, bert, "b1");
    post(workers, bert, "b2");

    EXPECT_EQ(begun(3), (Names{"a1", "b1", "b2"}));
    letGo();
    EXPECT_EQ(begun(4), (Names{"a1", "b1", "b2", "a2"}));
}

TEST_F(FairWorkersTest, TakesTurnsBetweenUsers)
{
    FairWorkers workers{1, 10};
    postLasting(workers, 0, "first");
    ASSERT_EQ(begun(1), Names{"first"});
    for (const char* name : {"a1", "a2", "a3"})
        post(workers, anna, name);
    for (const char* name : {"b1", "b2"})
        post(workers, bert, name);

    letGo();

    EXPECT_EQ(begun(6), (Names{"first", "a1", "b1", "a2", "b2", "a3"}));
}

TEST_F(FairWorkersTest, HasNoMoreThreadsThanItMay)
{
    FairWorkers workers{3, 10};
    for (uid_t user = 1; user <= 5; ++user)
        postLasting(workers, user, "lasting");

    EXPECT_EQ(begun(3).size(), 3U);
    std::this_thread::sleep_for(50ms);
    EXPECT_EQ(begun(3).size(), 3U);
}

TEST_F(FairWorkersTest, GivesAPlaceBackWhenTheWorkIsReallyDone)
{
    FairWorkers workers{1, 2};
    postLasting(workers, anna, "a1");
    ASSERT_EQ(begun(1), Names{"a1"});
    FairWorkers::Place second = workers.takePlace(anna);
    EXPECT_NE(second, nullptr);

    EXPECT_EQ(workers.takePlace(anna), nullptr);
    EXPECT_NE(workers.takePlace(bert), nullptr);
    second = {};
    EXPECT_NE(workers.takePlace(anna), nullptr);
    second = workers.takePlace(anna);
    EXPECT_EQ(workers.takePlace(anna), nullptr);

    letGo();
    const auto end = std::chrono::steady_clock::now() + 60s;
    while (!workers.takePlace(anna) && std::chrono::steady_clock::now() < end)
        std::this_thread::sleep_for(1ms);
    EXPECT_NE(workers.takePlace(anna), nullptr);
}

TEST_F(FairWorkersTest, FinishesWhatHasBegunWhenItIsGone)
{
    auto workers = std::make_unique<FairWorkers>(1, 2);
    postLasting(*workers, anna, "a1");
    postLasting(*workers, anna, "a2");
    ASSERT_EQ(begun(1), Names{"a1"});

    workers.reset();
    letGo();

    EXPECT_EQ(begun(2), (Names{"a1", "a2"}));
}

} // namespace
} // namespace veltra
