#include "System.h"

#include <fcntl.h>
#include <iconv.h>
#include <sys/wait.h>
#include <unistd.h>
#include <cerrno>
#include <csignal>
#include <cstring>
#include <stdexcept>
#include <thread>

namespace corvaneq {

std::vector<std::string> argumentsOf(int argc, char** argv) { return {argv + 1, argv + argc}; }

void secureStreams() {
  for (const int stream : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO})
    if (::fcntl(stream, F_GETFD) < 0)
      static_cast<void>(::open("/dev/null", stream == STDIN_FILENO ? O_WRONLY : O_RDONLY));
}

bool isTerminal(Stream stream) noexcept {
  return isatty(stream == Stream::Output ? STDOUT_FILENO : STDERR_FILENO) != 0;
}

std::u16string decoded(const std::string& content, const std::string& encoding) {
  const iconv_t converter = iconv_open("UTF-16LE", encoding.c_str());
  if (converter == reinterpret_cast<iconv_t>(-1))
    throw std::runtime_error("there is no encoding \"" + encoding + "\" (see iconv --list)");
  std::u16string text(content.size() + 1, u'\0');
  char* input = const_cast<char*>(content.data());  // NOLINT: the interface is older than const
  std::size_t inputLeft = content.size();
  char* output = reinterpret_cast<char*>(text.data());
  std::size_t outputLeft = text.size() * sizeof(char16_t);
  const std::size_t result = iconv(converter, &input, &inputLeft, &output, &outputLeft);
  iconv_close(converter);
  if (result == static_cast<std::size_t>(-1))
    throw std::runtime_error("byte " + std::to_string(content.size() - inputLeft) + " does not fit");
  text.resize(text.size() - outputLeft / sizeof(char16_t));
  return text;
}

// ---- A program

namespace {

[[noreturn]] void become(const std::vector<std::string>& command, const Environment& environment, int input,
                         int toldWhy) {
  sigset_t none;
  sigemptyset(&none);
  sigprocmask(SIG_SETMASK, &none, nullptr);
  signal(SIGPIPE, SIG_DFL);
  setpgid(0, 0);  // who stops this tool by the keyboard lets the program end
  dup2(input, STDIN_FILENO);
  for (const auto& [name, value] : environment) setenv(name.c_str(), value.c_str(), 1);
  std::vector<char*> arguments;
  for (const std::string& argument : command) arguments.push_back(const_cast<char*>(argument.c_str()));
  arguments.push_back(nullptr);
  execvp(arguments[0], arguments.data());
  const int why = errno;
  static_cast<void>(!write(toldWhy, &why, sizeof why));
  _exit(127);
}

void give(int pipe, const std::string& input) {
  for (std::size_t written = 0; written < input.size();) {
    const ssize_t count = write(pipe, input.data() + written, input.size() - written);
    if (count < 0 && errno != EINTR) break;  // it does not read all: its exit code tells what it thinks of it
    if (count > 0) written += static_cast<std::size_t>(count);
  }
}

}  // namespace

std::string howItEnded(const std::vector<std::string>& command, const Environment& environment,
                       const std::string& input) {
  signal(SIGPIPE, SIG_IGN);
  int ends[2];
  int toldWhy[2];  // the program cannot be run
  if (pipe2(ends, O_CLOEXEC) != 0 || pipe2(toldWhy, O_CLOEXEC) != 0)
    throw std::runtime_error(std::string("No pipe can be made: ") + std::strerror(errno));
  const pid_t child = fork();
  if (child == 0) become(command, environment, ends[0], toldWhy[1]);
  close(ends[0]);
  close(toldWhy[1]);
  if (child < 0) throw std::runtime_error(std::string("No process can be started: ") + std::strerror(errno));
  give(ends[1], input);
  close(ends[1]);
  int why = 0;
  const bool isRun = read(toldWhy[0], &why, sizeof why) <= 0;
  close(toldWhy[0]);
  int status = 0;
  while (waitpid(child, &status, 0) < 0 && errno == EINTR) {
  }
  if (!isRun) throw CannotRun("\"" + command[0] + "\" cannot be run: " + std::strerror(why));
  if (WIFSIGNALED(status)) return "was ended by signal " + std::to_string(WTERMSIG(status));
  return WEXITSTATUS(status) == 0 ? "" : "ended with exit code " + std::to_string(WEXITSTATUS(status));
}

// ---- Being asked to end

struct EndRequests::State {
  std::thread listener;
};

EndRequests::EndRequests(std::function<void()> asked) : state_(std::make_unique<State>()) {
  sigset_t ending;
  sigemptyset(&ending);
  for (const int each : {SIGINT, SIGTERM, SIGUSR1}) sigaddset(&ending, each);
  pthread_sigmask(SIG_BLOCK, &ending, nullptr);
  state_->listener = std::thread([asked = std::move(asked), ending] {
    int received = 0;
    sigwait(&ending, &received);  // by somebody, or by the end of this
    asked();
  });
}

EndRequests::~EndRequests() {
  pthread_kill(state_->listener.native_handle(), SIGUSR1);
  state_->listener.join();
}

}  // namespace corvaneq
