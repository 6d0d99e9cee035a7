#include "watch/VXStatusResourceController.h"

#include "platform/base/Fd.h"
#include "platform/base/Folder.h"
#include "platform/base/tests/TemporaryFolder.h"
#include "platform/desktop/FileName.h"
#include "platform/log/tests/RecordedLog.h"

#include <algorithm>
#include <array>
#include <filesystem>
#include <string>
#include <thread>
#include <vector>

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/fsuid.h>
#include <sys/stat.h>
#include <unistd.h>

namespace veltra {
namespace {

namespace fs = std::filesystem;

/// A test's own log folder.
class LogFolderTest : public testing::Test {
  protected:
    void makeLog(const std::string& name, time_t date)
    {
        folder_.write(name, "");
        setDate(name, {.tv_sec = date, .tv_nsec = 0});
    }

    void setDate(const std::string& name, timespec date)
    {
        const std::array times{date, date};
        ASSERT_EQ(
            ::utimensat(AT_FDCWD, folder_.file(name).c_str(), times.data(), AT_SYMLINK_NOFOLLOW),
            0);
    }

    std::string logFileName() { return bytesOfPath(controller_.getLogFileName()); }

    const TemporaryFolder& folder() const { return folder_; }
    RecordedLog& log() { return log_; }

  private:
    TemporaryFolder folder_;
    RecordedLog log_;
    VXStatusResourceController controller_{{.logFolder = folder_.path() + "/"}, nullptr};
};

TEST_F(LogFolderTest, GivesALogWhoseNameIsNotUtf8)
{
    makeLog("vxsvc_1.log", 1000);
    makeLog("vxsvc_\xFF.log", 2000);

    EXPECT_EQ(logFileName(), "vxsvc_\xFF.log");
}

TEST_F(LogFolderTest, GivesTheNewerOfTwoLogs)
{
    makeLog("vxsvc_1.log", 1000);
    makeLog("vxsvc_2.log", 2000);

    EXPECT_EQ(logFileName(), "vxsvc_2.log");
}

TEST_F(LogFolderTest, GivesTheNewerLogWhateverTheNames)
{
    makeLog("vxsvc_1.log", 3000);
    makeLog("vxsvc_2.log", 2000);
    makeLog("vxsvc_3.log", 1000);

    EXPECT_EQ(logFileName(), "vxsvc_1.log");
}

TEST_F(LogFolderTest, NeverGivesABackup)
{
    makeLog("vxsvc_1.log", 1000);
    makeLog("vxsvc_backup_1.log", 2000);
    makeLog("old_backup_vxsvc_.log", 3000);

    EXPECT_EQ(logFileName(), "vxsvc_1.log");
}

TEST_F(LogFolderTest, TakesANameWithTheFragmentAnywhereInIt)
{
    makeLog("agent_vxsvc_x", 2000);
    makeLog("vxsvc_1.log", 1000);

    EXPECT_EQ(logFileName(), "agent_vxsvc_x");
}

TEST_F(LogFolderTest, DistinguishesCapitals)
{
    makeLog("VXSVC_1.log", 2000);
    makeLog("vxsvc1.log", 2000);
    makeLog("vxsvc_BACKUP.log", 1000);

    EXPECT_EQ(logFileName(), "vxsvc_BACKUP.log");
}

TEST_F(LogFolderTest, GivesABareName)
{
    makeLog("vxsvc_1.log", 1000);

    EXPECT_EQ(logFileName().find('/'), std::string::npos);
    EXPECT_TRUE(fs::exists(folder().path() + "/" + logFileName()));
}

TEST_F(LogFolderTest, ComparesDatesToTheNanosecond)
{
    makeLog("vxsvc_a", 0);
    makeLog("vxsvc_b", 0);
    setDate("vxsvc_a", {.tv_sec = 1000, .tv_nsec = 2});
    setDate("vxsvc_b", {.tv_sec = 1000, .tv_nsec = 1});
    const std::string first = logFileName();

    setDate("vxsvc_b", {.tv_sec = 1000, .tv_nsec = 3});

    EXPECT_EQ(first, "vxsvc_a");
    EXPECT_EQ(logFileName(), "vxsvc_b");
}

TEST_F(LogFolderTest, GivesTheFirstListedOfEquallyOldLogs)
{
    for (int i = 0; i < 20; ++i)
        makeLog("vxsvc_" + std::to_string(i), 1000);

    EXPECT_EQ(logFileName(), contentsOfDirectory(folder().path()).value().front());
}

TEST_F(LogFolderTest, FollowsAChangeOfDates)
{
    makeLog("vxsvc_1.log", 1000);
    makeLog("vxsvc_2.log", 2000);
    const std::string before = logFileName();

    makeLog("vxsvc_1.log", 3000);

    EXPECT_EQ(before, "vxsvc_2.log");
    EXPECT_EQ(logFileName(), "vxsvc_1.log");
}

TEST_F(LogFolderTest, GivesNothingWhenThereIsNoLogAndSaysNothing)
{
    makeLog("agent.log", 1000);
    makeLog("vxsvc_backup.log", 1000);

    EXPECT_EQ(logFileName(), "");
    EXPECT_TRUE(log().messages().empty());
}

TEST_F(LogFolderTest, TakesADanglingLinkForALog)
{
    makeLog("vxsvc_1.log", 1000);
    fs::create_symlink("nowhere", folder().file("vxsvc_link"));
    setDate("vxsvc_link", {.tv_sec = 2000, .tv_nsec = 0});

    EXPECT_EQ(logFileName(), "vxsvc_link");
}

TEST_F(LogFolderTest, LooksForNamesOutsideAscii)
{
    makeLog("vxsvc_\xC3\xA4.log", 1000);

    EXPECT_EQ(logFileName(), "vxsvc_\xC3\xA4.log");
}

TEST_F(LogFolderTest, MayBeAskedFromAnyThread)
{
    makeLog("vxsvc_1.log", 1000);
    std::vector<std::string> answers(4);

    std::vector<std::thread> threads;
    for (std::string& answer : answers)
        threads.emplace_back([&] { answer = logFileName(); });
    for (std::thread& thread : threads)
        thread.join();

    EXPECT_EQ(answers, std::vector<std::string>(4, "vxsvc_1.log"));
}

TEST(VXStatusResourceController, LogsAMissingFolderAndGivesNothing)
{
    const TemporaryFolder folder;
    RecordedLog log;
    const VXStatusResourceController controller{{.logFolder = folder.file("missing/")}, nullptr};

    const QString name = controller.getLogFileName();

    EXPECT_EQ(name, QStringLiteral(""));
    ASSERT_EQ(log.messages().size(), 1U);
    EXPECT_EQ(log.messages().front(),
              "Error in reading files: " +
                  contentsOfDirectory(folder.file("missing/")).error().message());
}

/// Removes root's right to read everything, for the calling thread.
class AsOrdinaryUser {
  public:
    AsOrdinaryUser() : previous_{::setfsuid(65534)} {}
    AsOrdinaryUser(const AsOrdinaryUser&) = delete;
    AsOrdinaryUser& operator=(const AsOrdinaryUser&) = delete;
    ~AsOrdinaryUser() { ::setfsuid(static_cast<uid_t>(previous_)); }

  private:
    int previous_;
};

TEST(VXStatusResourceController, LogsAnUnreadableFolderAndGivesNothing)
{
    const TemporaryFolder folder;
    folder.write("vxsvc_1.log", "");
    fs::permissions(folder.path(), fs::perms::owner_exec | fs::perms::others_exec);
    RecordedLog log;
    const VXStatusResourceController controller{{.logFolder = folder.path() + "/"}, nullptr};

    QString name = QStringLiteral("?");
    {
        const AsOrdinaryUser user;
        name = controller.getLogFileName();
    }

    EXPECT_EQ(name, QStringLiteral(""));
    ASSERT_EQ(log.messages().size(), 1U);
    EXPECT_TRUE(log.messages().front().starts_with("Error in reading files: "));
    EXPECT_TRUE(log.messages().front().ends_with("Permission denied")) << log.messages().front();
}

/// A log folder with such a long path that the dates of files with long names in it cannot be read,
/// although the files are listed.
class DeepFolder {
  public:
    DeepFolder()
    {
        Fd parent{::open(top_.path().c_str(), O_PATH | O_DIRECTORY | O_CLOEXEC)};
        path_ = top_.path() + "/";
        const std::string step(200, 'd');
        while (path_.size() < 4096 - 250) {
            EXPECT_EQ(::mkdirat(parent.get(), step.c_str(), 0700), 0);
            parent = Fd{::openat(parent.get(), step.c_str(), O_PATH | O_DIRECTORY | O_CLOEXEC)};
            path_ += step + "/";
        }
        folder_ = std::move(parent);
    }
    DeepFolder(const DeepFolder&) = delete;
    DeepFolder& operator=(const DeepFolder&) = delete;

    // Through its descriptor, because the path of a file with a long name is too long.
    ~DeepFolder()
    {
        for (const std::string& name : names_)
            ::unlinkat(folder_.get(), name.c_str(), 0);
    }

    void add(const std::string& name)
    {
        const Fd file{::openat(folder_.get(), name.c_str(), O_CREAT | O_WRONLY | O_CLOEXEC, 0600)};
        EXPECT_TRUE(file);
        names_.push_back(name);
    }

    void setDate(const std::string& name, time_t date) const
    {
        const std::array times{timespec{.tv_sec = date, .tv_nsec = 0},
                               timespec{.tv_sec = date, .tv_nsec = 0}};
        EXPECT_EQ(::utimensat(folder_.get(), name.c_str(), times.data(), 0), 0);
    }

    const std::string& path() const { return path_; }

  private:
    TemporaryFolder top_;
    std::string path_;
    Fd folder_;
    std::vector<std::string> names_;
};

bool isLong(const std::string& name)
{
    return name.size() > 240;
}

TEST(VXStatusResourceController, LeavesOutAllLogsListedBehindOneWhoseDateCannotBeRead)
{
    DeepFolder folder;
    for (int i = 0; i < 6; ++i)
        folder.add("vxsvc_a" + std::to_string(i));
    std::vector<std::string> names;
    std::size_t unreadable = 0;
    // The order of listing depends on the file system; a file that has logs on both sides is looked
    // for.
    for (int i = 0; i < 50 && (unreadable == 0 || unreadable + 1 >= names.size()); ++i) {
        folder.add("vxsvc_" + std::string(243, 'x') + std::to_string(10 + i));
        folder.add("vxsvc_b" + std::to_string(i));
        names = contentsOfDirectory(folder.path()).value();
        unreadable = static_cast<std::size_t>(std::ranges::find_if(names, isLong) - names.begin());
    }
    ASSERT_GT(unreadable, 0U);
    ASSERT_LT(unreadable + 1, names.size());
    for (std::size_t i = 0; i < names.size(); ++i)
        folder.setDate(names[i], static_cast<time_t>(1000 + i));
    const VXStatusResourceController controller{{.logFolder = folder.path()}, nullptr};
    RecordedLog log;

    const QString name = controller.getLogFileName();

    EXPECT_EQ(name.toStdString(), names[unreadable - 1]);
    EXPECT_TRUE(log.messages().empty());
}

TEST(VXStatusResourceController, GivesNothingWhenNoDateCanBeRead)
{
    DeepFolder folder;
    folder.add("vxsvc_" + std::string(245, 'x'));
    const VXStatusResourceController controller{{.logFolder = folder.path()}, nullptr};
    RecordedLog log;

    EXPECT_EQ(controller.getLogFileName(), QStringLiteral(""));
    EXPECT_TRUE(log.messages().empty());
}

TEST(VXStatusResourceController, IsOneForTheWholeProgram)
{
    EXPECT_EQ(&VXStatusResourceController::sharedVXStatusResourceController(),
              &VXStatusResourceController::sharedVXStatusResourceController());
}

TEST(VXStatusResourceController, SpeaksEnglishWithoutLocaleAndUserAtFirst)
{
    const VXStatusResourceController controller{{}, nullptr};

    EXPECT_EQ(controller.languageCode(), QStringLiteral("en"));
    EXPECT_TRUE(controller.localeCode().isNull());
    EXPECT_TRUE(controller.currentUser().isNull());
}

TEST(VXStatusResourceController, AnswersInvocationsByName)
{
    const TemporaryFolder folder;
    folder.write("vxsvc_1.log", "");
    VXStatusResourceController controller{{.logFolder = folder.path() + "/"}, nullptr};
    QString name;

    const bool isInvoked =
        QMetaObject::invokeMethod(&controller, "getLogFileName", Q_RETURN_ARG(QString, name));

    EXPECT_TRUE(isInvoked);
    EXPECT_EQ(name, QStringLiteral("vxsvc_1.log"));
}

} // namespace
} // namespace veltra
