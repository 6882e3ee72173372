// What stands behind the door: settings, log, code page, query texts.
#include "CodePage.h"
#include "EmbeddedPlatform.h"
#include "Expect.h"
#include "Installation.h"
#include "Processes.h"
#include "QueryText.h"
#include "SqliteStore.h"
#include "StoredText.h"

namespace CorvaneQueue::platform_layer {

namespace {

class Settings : public ::testing::Test {
 protected:
  // A number for the type, and the text.
  std::string read(const TomlFile::Address& address) {
    const auto value = file.read(path, address);
    return value ? std::to_string(value->type()) + " " + toUtf8(toString(value->get())) : "none";
  }
  void write(const TomlFile::Address& address, const Variant& value) { file.write(path, address, value); }
  template <class Body>
  void expectRefusal(const std::string& part, Body&& body) const {
    const std::string before = home.read("settings.toml");
    expectError(E_FAIL, nullptr, part, body);
    EXPECT_EQ(home.read("settings.toml"), before);
  }
  Installation home{""};
  const std::filesystem::path path = home.file("settings.toml");
  TomlFile file;
};

TEST_F(Settings, AreTypedAndSeenAtOnce) {
  EXPECT_EQ(read({u"Configuration", u"Global", u"QueueStoreType"}), "none");
  home.writeSettings(
      "[Configuration.Global]\nQueueStoreType = \"db\"\nUsesPublicQueues = 0 # private\n"
      "[Platform]\nCodePage = \"1\"\nList = [1]\n");
  EXPECT_EQ(read({u"configuration", u"GLOBAL", u"queuestoretype"}), "8 db");
  EXPECT_EQ(read({u"Configuration", u"Global", u"UsesPublicQueues"}), "3 0");
  EXPECT_EQ(read({u"Platform", u"CodePage"}), "8 1");
  EXPECT_EQ(read({u"Platform", u"List"}), "none");
  for (int i = 0; i < 200; ++i) {  // same size, same tick of the clock
    home.writeSettings("[A]\nKey = " + std::to_string(i % 10) + "\n");
    EXPECT_EQ(read({u"A", u"Key"}), "3 " + std::to_string(i % 10));
  }
}

TEST_F(Settings, KeepEverythingElseOfTheFileWhenOneIsWritten) {
  home.writeSettings(
      "# by hand, äöü\n[Configuration.Global]  # global\nQueueStoreType = \"msmq\"   # store\nOther = 1.5\n\n"
      "[\"odd name\".x]\nk = true");
  write({u"Configuration", u"Global", u"QueueStoreType"}, u"db");
  write({u"Configuration", u"Global", u"UsesPublicQueues"}, std::int32_t{-1});
  write({u"Odd Name", u"X", u"new \"key\""}, u"a\"b\\c\n\u00e9");
  write({u"Fresh", u"Section", u"k"}, true);
  write({u"Fresh", u"k"}, true);  // of a table that is there only by the one in it
  EXPECT_EQ(home.read("settings.toml"),
            "# by hand, äöü\n[Configuration.Global]  # global\nUsesPublicQueues = -1\n"
            "QueueStoreType = \"db\"   # store\nOther = 1.5\n\n"
            "[\"odd name\".x]\n\"new \\\"key\\\"\" = \"a\\\"b\\\\c\\u000Aé\"\nk = true\n\n[Fresh.Section]\nk "
            "= true\n\n[Fresh]\nk = true\n");
  EXPECT_EQ(read({u"odd name", u"x", u"new \"key\""}), "8 a\"b\\c\né");
  EXPECT_EQ(errorNumber([&] { write({u"A", u"B", u"c"}, String(std::u16string(1, 0xD800))); }), 5);
}

TEST_F(Settings, ThatDoNotParseOrCannotBePlacedAreNamedAndNeverDestroyed) {
  home.writeSettings("[Configuration.Global]\nQueueStoreType = db\n");
  const std::string line2 = "settings.toml\" does not parse: line 2";
  expectRefusal(line2, [&] { read({u"A", u"B", u"c"}); });
  expectRefusal(line2, [&] { write({u"A", u"B", u"c"}, true); });
  home.writeSettings("Configuration = 3\n");
  expectRefusal("write the table as \"[Configuration.Global]\"", [&] {
    write({u"Configuration", u"Global", u"k"}, true);
  });
  std::filesystem::remove(path);
  std::filesystem::create_directory(path);
  expectError(E_FAIL, nullptr, "Is a directory", [&] { read({u"A", u"k"}); });
}

TEST_F(Settings, ThatAreNestedWithoutEndAreRefusedBeforeTheyAreParsed) {
  const auto repeated = [](const std::string& part, int times) {
    std::string text;
    for (int i = 0; i < times; ++i) text += part;
    return text;
  };
  constexpr int many = 60000;
  for (const std::string& deep :
       {"[a" + repeated(".a", many) + "]", "[[a" + repeated(" . a", many) + "]]",
        "a" + repeated(".a", many) + " = 1", "a = {" + repeated("a = {", many),
        "a = { b = '''t'''', c" + repeated(".c", many) + " = 1 }", "a = " + repeated("[\n", many),
        repeated("a = [{ a" + repeated(".a", 200) + " = [\n", 250)}) {
    home.writeSettings("# first\nx = \"\"\"a\nb\"\"\"\n" + deep + "\n");
    const std::string line = deep.find('\n') == std::string::npos ? "line 4: " : "line ";
    expectRefusal("settings.toml\" does not parse: " + line, [&] { read({u"a"}); });
    expectRefusal("nested more than 256 deep", [&] { write({u"b"}, true); });
  }
  const std::string dots = repeated(".", 300);  // in a name, a comment or a text they nest nothing
  home.writeSettings("# " + dots + "\n[A.\"" + dots + "\\\"\".b]\nk = '''" + dots + "\n" + dots + "'''\n" +
                     repeated("# [.\n", 300));
  EXPECT_EQ(read({u"A", String(fromUtf8(dots + "\"")), u"b", u"k"}), "8 " + dots + "\n" + dots);
  home.writeSettings("[A]\n" + repeated("# filler\n", (16 << 20) / 9 + 1));
  expectRefusal("larger than 16 MiB", [&] { read({u"A", u"k"}); });
}

TEST_F(Settings, LoseNoConcurrentWrite) {
  constexpr int keys = 25;
  const std::u16string sections[] = {u"a", u"b", u"c", u"d"};
  std::vector<pid_t> writers;
  for (const auto& section : sections)
    writers.push_back(inProcess([&] {
      for (int key = 0; key < keys; ++key) write({u"W", section, u"k" + decimal(key)}, key);
    }));
  for (const pid_t writer : writers) EXPECT_TRUE(succeeded(writer));
  for (const auto& section : sections)
    for (int key = 0; key < keys; ++key)
      EXPECT_EQ(read({u"W", section, u"k" + decimal(key)}), "3 " + std::to_string(key));
}

class HostTest : public ::testing::Test {
 protected:
  Installation home;
  EmbeddedPlatform embedded{store::sqliteStore()};
  HostServices& host = *embedded.door().host;
};

TEST_F(HostTest, RecordsReportsAndRaisesThem) {
  const auto trace = host.createProcessTrace();
  const Variant held = call<&_ProcessTrace::raw_ClassTrace>(trace, u"Library", u"Class");
  const auto handler = call<&_ClassTrace::get_ExceptionHandler>(query<_ClassTrace>(held.get().pdispVal));
  const auto report = [&](bool raises, LONG level, LONG number, const char16_t* procedure) {
    call<&_ExceptionHandler::raw_Report>(handler, raises, level, number, procedure);
  };
  call<&_ExceptionHandler::raw_TakeError>(handler, 7, u"inner", u"line one\nline \"two\"");
  expectError(8, u"Member Get", "line one", [&] { report(true, 1, 8, u"Member Get"); });
  call<&_ExceptionHandler::put_Description>(handler, u"only a warning");
  report(false, 2, 100, u"Arrived");
  const std::string log = home.read("log/corvane.log");
  EXPECT_EQ(std::count(log.begin(), log.end(), '\n'), 2);
  for (const char* line : {"Library.Class \"Member Get\" error 8 \"inner\" \"line one line \\\"two\\\"\"\n",
                           "Library.Class \"Arrived\" warning 100 \"\" \"only a warning\"\n"})
    EXPECT_NE(log.find(line), std::string::npos) << log;
  // A log that cannot be written hides nothing.
  std::filesystem::remove_all(home.file("log"));
  std::ofstream(home.file("log")) << "in the way";
  const auto standard = host.createExceptionHandler();
  call<&_ExceptionHandler::put_Description>(standard, u"told");
  expectError(5, u"P", "told", [&] { call<&_ExceptionHandler::raw_Report>(standard, true, 1, 5, u"P"); });
}

TEST_F(HostTest, ReportsTheOperatingSystemOfTheSettings) {
  auto& system = *embedded.door().system;
  OSVersion version{};
  EXPECT_TRUE(system.GetVersionEx(version));
  EXPECT_EQ(version.platformId, 2);
  EXPECT_EQ(version.majorVersion, 10);
  home.writeSettings("[Platform]\nMajorVersion = 4\n");
  system.GetVersionEx(version);
  EXPECT_EQ(version.majorVersion, 4);
  home.writeSettings("broken");
  EXPECT_FALSE(system.GetVersionEx(version));
  setenv("TZ", "Europe/Berlin", 1);
  std::int32_t bias = 0;
  EXPECT_NE(system.GetTimeZoneInformation(bias), zoneInvalid);
  EXPECT_EQ(bias, -60);  // whatever the season
  setenv("TZ", "UTC", 1);
  EXPECT_EQ(system.GetTimeZoneInformation(bias), zoneUnknown);
  EXPECT_EQ(bias, 0);
}

TEST(CodePages, MapBytesToTextAndBackWithoutLoss) {
  CodePage ansi(1252);
  std::optional<std::size_t> lost;
  std::vector<std::uint8_t> all(256);
  for (std::size_t i = 0; i < all.size(); ++i) all[i] = static_cast<std::uint8_t>(i);
  for (const std::int32_t number : {1252, 1250, 1253, 1257, 874}) {
    CodePage page(number);
    EXPECT_EQ(page.bytesOf(page.textOf(all), lost), all) << number;
  }
  EXPECT_EQ(ansi.textOf({all.data() + 0x80, 2}).view(), u"€\u0081");
  EXPECT_FALSE(lost);
  const auto text = ansi.bytesOf(u"aä€Ж😀\xD800z", lost);
  EXPECT_EQ(std::string(text.begin(), text.end()), "a\xE4\x80???z");
  EXPECT_EQ(lost, 3u);
  EXPECT_EQ(errorNumber([] { CodePage(99999); }), 5);
  // UTF-8: every unit there and back; what is not text becomes the characters of its bytes.
  CodePage utf8(CodePage::utf8);
  const std::u16string units = u"aä€😀\xDC00\xD800z" + std::u16string(70, u'\0') + u"Ж";
  const auto bytes = utf8.bytesOf(units, lost = std::nullopt);
  EXPECT_EQ(bytes.size(), 1u + 2 + 3 + 4 + 3 + 3 + 1 + 70 + 2);
  EXPECT_EQ(utf8.textOf(bytes).view(), units);
  EXPECT_FALSE(lost);
  const std::string_view mixed = "aä\xFF\xC3(\xED\xA0\x80\xF0\x9F\x98\x80\xE2\x82";
  EXPECT_EQ(utf8.textOf({reinterpret_cast<const std::uint8_t*>(mixed.data()), mixed.size()}).view(),
            u"aä\u00FF\u00C3(\xD800😀\u00E2\u0082");
}

TEST(QueryTexts, LiftLiteralsAndNothingElse) {
  const auto lifted =
      liftLiterals(u"SELECT [it's], \"a'b\" FROM t WHERE x = 'O''Brien' AND y = '' AND z = 'a'");
  EXPECT_EQ(lifted.sql, "SELECT [it's], \"a'b\" FROM t WHERE x = ?1 AND y = ?2 AND z = ?3");
  EXPECT_EQ(lifted.literals, (std::vector<std::string>{"O'Brien", "", "a"}));
}

}  // namespace

}  // namespace CorvaneQueue::platform_layer
