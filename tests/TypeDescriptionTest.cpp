// The type description: every change of it shows in the golden file, and an IDL compiler accepts it.
#include <CorvaneQueue/describe.h>
#include <gtest/gtest.h>
#include <unistd.h>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <vector>

namespace {

TEST(TypeDescription, IsTheGoldenOne) {
  const std::string golden = GOLDEN_FILE;
  const std::string found = CorvaneQueue::typeDescription();
  if (std::getenv("CORVANE_WRITE_GOLDEN") != nullptr) std::ofstream(golden) << found;
  std::ifstream stream(golden);
  EXPECT_EQ(std::string(std::istreambuf_iterator<char>(stream), {}), found)
      << "If the change is meant: run this test once with CORVANE_WRITE_GOLDEN=1 and review the file.";
}

// The vtable offsets of the members of each dual interface in a compiled library. Behind its header stand the
// places of the types; each type leads to its members.
std::vector<std::vector<int>> vtables(const std::string& library) {
  const auto word = [&](std::size_t at) {
    std::int32_t value = 0;
    library.copy(reinterpret_cast<char*>(&value), sizeof value, at);
    return value;
  };
  const auto place = [&](std::size_t at) { return static_cast<std::size_t>(word(at)); };
  const std::size_t types = 0x54 + ((word(0x14) & 0x100) != 0 ? 4 : 0);
  const std::size_t count = place(0x20);
  const std::size_t table = place(types + 4 * count);
  constexpr int dual = 0x40;
  std::vector<std::vector<int>> found;
  for (std::size_t i = 0; i < count; ++i) {
    const std::size_t type = table + place(types + 4 * i);
    if ((word(type + 0x30) & dual) == 0) continue;
    std::size_t member = place(type + 4) + 4;
    auto& offsets = found.emplace_back();
    for (int left = word(type + 0x18) & 0xFFFF; left > 0; --left) {
      offsets.push_back(word(member + 12) & 0xFFFF);
      member += place(member) & 0xFFFF;
    }
  }
  return found;
}

TEST(TypeDescription, CompilesToATypeLibrary) {
  const char* compiler = "x86_64-w64-mingw32-widl";
  if (std::system((std::string("command -v ") + compiler + " >/dev/null").c_str()) != 0)
    GTEST_SKIP() << "no IDL compiler installed (package mingw-w64-tools)";
  const auto base = std::filesystem::temp_directory_path() / ("corvane-idl-" + std::to_string(getpid()));
  const std::string source = base.string() + ".idl";
  const std::string library = base.string() + ".tlb";
  std::ofstream(source) << CorvaneQueue::typeDescription();
  EXPECT_EQ(
      std::system((std::string(compiler) + " -t -I " IDL_DIRECTORY " -o " + library + " " + source).c_str()),
      0);
  std::ifstream stream(library, std::ios::binary);
  const std::string content(std::istreambuf_iterator<char>(stream), {});
  for (const char* name :
       {"Corvane Queue Library", "AcknowledgeDocument", "evtArrived", "_Journal", "vntIndexKey"})
    EXPECT_NE(content.find(name), std::string::npos) << name;
  const auto interfaces = vtables(content);
  EXPECT_EQ(interfaces.size(), 10u);
  for (const auto& offsets : interfaces)  // behind the seven members of IDispatch, in order
    for (std::size_t i = 0; i < offsets.size(); ++i) EXPECT_EQ(offsets[i], static_cast<int>(8 * (7 + i)));
  std::filesystem::remove(source);
  std::filesystem::remove(library);
}

}  // namespace
