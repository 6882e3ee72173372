// The type description: every change of it shows in the golden file, and an IDL compiler accepts it.
#include <CorvaneQueue/describe.h>
#include <gtest/gtest.h>
#include <unistd.h>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>

namespace {

TEST(TypeDescription, IsTheGoldenOne) {
  const std::string golden = GOLDEN_FILE;
  const std::string found = CorvaneQueue::typeDescription();
  if (std::getenv("CORVANE_WRITE_GOLDEN") != nullptr) std::ofstream(golden) << found;
  std::ifstream stream(golden);
  EXPECT_EQ(std::string(std::istreambuf_iterator<char>(stream), {}), found)
      << "If the change is meant: run this test once with CORVANE_WRITE_GOLDEN=1 and review the file.";
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
  std::filesystem::remove(source);
  std::filesystem::remove(library);
}

}  // namespace
