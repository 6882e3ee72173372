// Stores in the hands of operators: copied and put back, damaged, read by others, cut short.
#include "Expect.h"
#include "Processes.h"
#include "Stores.h"

#include <CorvaneQueue/storeCheck.h>
#include <gmock/gmock.h>
#include <grp.h>
#include <sys/stat.h>
#include <csignal>

namespace {

using namespace stores;
using namespace ::testing;
namespace fs = std::filesystem;

class StoreCare : public TestWithParam<Store> {
 protected:
  // What a process sends that is killed then, or ends.
  enum class End { Orderly, Killed };
  void send(const std::string& name, int count, End end = End::Orderly) {
    const int status = endOf(inProcess([&] {
      const auto queue = openQueue(GetParam(), "Orders");
      for (int i = 0; i < count; ++i) queue->SendDocument(name + std::to_string(i));
      if (end == End::Killed) raise(SIGKILL);
    }));
    ASSERT_EQ(status, end == End::Killed ? SIGKILL : 0);
  }
  void useHome(const fs::path& directory) const { setenv("CORVANE_HOME", directory.c_str(), 1); }
  fs::path store() const {
    return home.file(GetParam() == Store::Database ? "messages.db" : "msmq/storage/queues.db");
  }
  fs::path log() const { return store().string() + "-wal"; }
  int filesBeside(const std::string& part) const {
    int count = 0;
    for (const auto& entry : fs::directory_iterator(store().parent_path()))
      if (entry.path().filename().string().find(part) != std::string::npos) ++count;
    return count;
  }
  std::string told() const { return home.read("log/corvane.log"); }

  Installation home{settingsOf(GetParam())};
};
INSTANTIATE_TEST_SUITE_P(Stores, StoreCare, Values(Store::Database, Store::MessageQueuing),
                         [](const auto& each) { return nameOf(each.param); });

TEST_P(StoreCare, IsOneFileOnceTheLastProcessHasEnded) {
  send("a", 3);
  EXPECT_EQ(fs::file_size(log()), 0u);
  fs::copy_file(store(), home.file("copy"));
  send("b", 3);
  fs::copy_file(home.file("copy"), store(), fs::copy_options::overwrite_existing);
  EXPECT_THAT(waiting("Orders"), ElementsAre("a0", "a1", "a2"));
  send("c", 1);
  EXPECT_THAT(waiting("Orders"), ElementsAre("a0", "a1", "a2", "c0"));
  EXPECT_THAT(checkStore(StoreCheck::Thorough).findings, IsEmpty());
}

TEST_P(StoreCare, ACopyIsNotMixedWithTheLogOfAProcessThatWasKilled) {
  send("a", 3);
  fs::copy_file(store(), home.file("copy"));
  send("b", 3);
  send("c", 3, End::Killed);
  ASSERT_GT(fs::file_size(log()), 0u);
  // Without a copy the log is taken up.
  const fs::path moved = home.directory().string() + "-moved";
  fs::copy(home.directory(), moved, fs::copy_options::recursive);
  useHome(moved);
  EXPECT_EQ(waiting("Orders").size(), 9u);
  fs::remove_all(moved);
  useHome(home.directory());

  fs::copy_file(home.file("copy"), store(), fs::copy_options::overwrite_existing);
  EXPECT_THAT(waiting("Orders"), ElementsAre("a0", "a1", "a2"));
  EXPECT_THAT(checkStore(StoreCheck::Thorough).findings, IsEmpty());
  EXPECT_THAT(told(), HasSubstr("has been replaced by a copy"));
  EXPECT_EQ(filesBeside("-wal.stale-"), 1);
  send("d", 1);
  EXPECT_THAT(waiting("Orders"), ElementsAre("a0", "a1", "a2", "d0"));
}

TEST_P(StoreCare, DamageInsideTheLogIsTold) {
  send("a", 3);
  send("b", 20, End::Killed);
  {
    std::fstream stream(log(), std::ios::in | std::ios::out | std::ios::binary);
    stream.seekp(static_cast<std::streamoff>(fs::file_size(log()) / 2));
    stream << "damaged";
  }
  const Queue orders = openQueue(GetParam(), "Orders");  // stays open: what was found is known as long
  EXPECT_LT(waiting("Orders").size(), 23u);
  EXPECT_THAT(told(), HasSubstr("transactions behind that place cannot be read"));
  EXPECT_EQ(filesBeside("-wal.damaged-"), 1);
  orders->SendDocument("c");
  EXPECT_EQ(waiting("Orders").back(), "c");
  const auto report = checkStore(StoreCheck::Thorough);
  EXPECT_EQ(report.documents, static_cast<std::int64_t>(waiting("Orders").size()));
}

TEST_P(StoreCare, IsItsOwnersAloneWhateverTheUmask) {
  const auto others = [&](const fs::path& path) {
    struct stat status {};
    return stat(path.c_str(), &status) != 0 ? 0777u
                                            : status.st_mode & (S_ISDIR(status.st_mode) ? 0077u : 0177u);
  };
  for (const mode_t mask : {mode_t{0}, mode_t{0777}}) {
    const mode_t before = umask(mask);
    send("a", 1);
    umask(before);
    for (const auto& entry : fs::recursive_directory_iterator(home.directory())) {
      if (entry.path().filename() == "settings.toml") continue;  // made by the test
      EXPECT_EQ(others(entry), 0u) << entry.path();
    }
  }
  fs::permissions(home.directory(), static_cast<fs::perms>(0755));
  fs::permissions(store(), static_cast<fs::perms>(0644));
  send("b", 1);
  EXPECT_EQ(others(home.directory()) | others(store()) | others(home.file("settings.toml")), 0u);
  EXPECT_THAT(told(), HasSubstr("their rights have been taken away"));
}

TEST_P(StoreCare, ACopyThatMayOnlyBeReadIsBrowsed) {
  send("a", 3);
  const fs::path copy = home.directory().string() + "-copy";
  fs::copy(home.directory(), copy, fs::copy_options::recursive);
  const auto permit = [&](int directories, int files) {
    fs::permissions(copy, static_cast<fs::perms>(directories));
    for (const auto& entry : fs::recursive_directory_iterator(copy))
      fs::permissions(entry, static_cast<fs::perms>(fs::is_directory(entry) ? directories : files));
  };
  permit(0555, 0444);
  EXPECT_TRUE(succeeded(inProcess([&] {
    useHome(copy);
    constexpr uid_t nobody = 65534;  // permissions do not hold the superuser
    if (geteuid() == 0 && (setgroups(0, nullptr) != 0 || setgid(nobody) != 0 || setuid(nobody) != 0))
      throw std::runtime_error("still the superuser");
    const auto refused = errorOf([&] { create<Queues>()->Item("Orders")->SendDocument("x"); });
    if (!refused || std::string(refused->what()).find("permission") == std::string::npos)
      throw std::runtime_error(refused ? refused->what() : "not refused");
    if (waiting("Orders") != Texts{"a0", "a1", "a2"}) throw std::runtime_error("not all are there");
  })));
  permit(0755, 0644);
  fs::remove_all(copy);
}

TEST_P(StoreCare, GivesRoomBackAfterAPurge) {
  const auto orders = openQueue(GetParam(), "Orders");
  const std::string body(8 << 20, 'x');
  for (int i = 0; i < 5; ++i) orders->SendDocument(body);
  const auto size = [&] { return fs::file_size(store()) + fs::file_size(log()); };
  const auto full = size();
  orders->Purge();
  listed("Orders")->Journal()->Purge();
  EXPECT_LT(size(), full / 2) << full;
  orders->SendDocument("again");
  EXPECT_THAT(waiting("Orders"), ElementsAre("again"));
}

TEST_P(StoreCare, LookingMakesNoFile) {
  EXPECT_EQ(create<Queues>()->Count(), 0);
  EXPECT_FALSE(create<Queues>()->Exists("Orders"));
  EXPECT_FALSE(checkStore(StoreCheck::Thorough).isThere);
  EXPECT_EQ(std::distance(fs::recursive_directory_iterator(home.directory()), {}), 1);  // the settings
}

TEST_P(StoreCare, SharedFilesThatAreCutShortEndNoProcess) {
  const auto orders = openQueue(GetParam(), "Orders");
  orders->SendDocument("a");
  const auto cut = [](const fs::path& file) {
    fs::resize_file(file, 0);
    usleep(2000);  // files are looked at once a millisecond
  };
  for (const char* ending : {"-shm", "-lock"}) {
    cut(store().string() + ending);
    EXPECT_EQ(waiting("Orders").size(), std::string(ending) == "-shm" ? 1u : 2u) << ending;
    orders->SendDocument("b");
  }
  if (GetParam() == Store::MessageQueuing) cut(store().parent_path() / "generation");
  orders->SendDocument("c");
  EXPECT_THAT(waiting("Orders"), ElementsAre("a", "b", "b", "c"));
  EXPECT_THAT(told(), HasSubstr("cut the file"));
}

TEST_P(StoreCare, AStoreThatIsReplacedUnderTheProcessIsTold) {
  auto queue = openQueue(GetParam(), "Orders");
  queue->SendDocument("x");
  for (const auto& entry : std::filesystem::directory_iterator(home.directory()))
    std::filesystem::remove_all(entry);
  home.writeSettings(settingsOf(GetParam()));
  expectError(E_FAIL, u"SendDocument", "removed or replaced", [&] { queue->SendDocument("into nowhere"); });
  queue->Initialize("Orders");
  queue->SendDocument("y");
  EXPECT_THAT(waiting("Orders"), ElementsAre("y"));
}

}  // namespace
