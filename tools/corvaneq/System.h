// What the tool needs of the operating system.
#pragma once

#include <filesystem>
#include <functional>
#include <memory>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

namespace corvaneq {

// Those of the command line behind the name of the tool, in UTF-8.
std::vector<std::string> argumentsOf(int argc, char** argv);

// A stream that is closed must fail when it is used, not turn into whatever file is opened next. Texts are
// UTF-8, and nothing is changed on the way.
void secureStreams();

enum class Stream { Output, Errors };
bool isTerminal(Stream stream) noexcept;

// The file of a name in UTF-8, and the name.
inline std::filesystem::path fileNamed(const std::string& name) {
  return std::u8string(name.begin(), name.end());
}
inline std::string nameOf(const std::filesystem::path& file) {
  const std::u8string name = file.u8string();
  return {name.begin(), name.end()};
}

// Text in some encoding. Throws std::runtime_error: there is no such encoding, or which byte does not fit.
std::u16string decoded(const std::string& content, const std::string& encoding);

// Runs a program and gives it its standard input. How it ended, unless well: "ended with exit code 3". Throws
// CannotRun.
class CannotRun : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};
using Environment = std::vector<std::pair<std::string, std::string>>;
std::string howItEnded(const std::vector<std::string>& command, const Environment& environment,
                       const std::string& input);

// While it lives, whoever asks this process to end gets `asked` called, in another thread, and nothing else.
class EndRequests {
 public:
  explicit EndRequests(std::function<void()> asked);
  ~EndRequests();
  EndRequests(const EndRequests&) = delete;
  EndRequests& operator=(const EndRequests&) = delete;

 private:
  struct State;
  std::unique_ptr<State> state_;
};

}  // namespace corvaneq
