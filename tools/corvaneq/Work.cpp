// Runs a program for each document of a queue.
#include "Operating.h"
#include "Output.h"

#include <CorvaneQueue/Worker.h>

#include <fcntl.h>
#include <sys/wait.h>
#include <unistd.h>
#include <cerrno>
#include <csignal>
#include <cstring>
#include <thread>

namespace corvaneq {

using namespace CorvaneQueue;

namespace {

// Gives the document to the program's standard input; how the program ended.
int statusOf(const std::vector<std::string>& command, const WorkerDocument& document) {
  int ends[2];
  int toldWhy[2];  // the program cannot be run
  if (pipe2(ends, O_CLOEXEC) != 0 || pipe2(toldWhy, O_CLOEXEC) != 0)
    refuse(std::string("No pipe can be made: ") + std::strerror(errno));
  const pid_t child = fork();
  if (child == 0) {
    sigset_t none;
    sigemptyset(&none);
    sigprocmask(SIG_SETMASK, &none, nullptr);
    signal(SIGPIPE, SIG_DFL);
    setpgid(0, 0);  // who stops this tool by the keyboard lets the program end
    dup2(ends[0], STDIN_FILENO);
    setenv("CORVANE_ID", toUtf8(document.ID).c_str(), 1);
    setenv("CORVANE_LABEL", toUtf8(document.Label).c_str(), 1);
    setenv("CORVANE_ATTEMPT", std::to_string(document.attempt).c_str(), 1);
    std::vector<char*> arguments;
    for (const std::string& argument : command) arguments.push_back(const_cast<char*>(argument.c_str()));
    arguments.push_back(nullptr);
    execvp(arguments[0], arguments.data());
    const int why = errno;
    static_cast<void>(!write(toldWhy[1], &why, sizeof why));
    _exit(127);
  }
  close(ends[0]);
  close(toldWhy[1]);
  if (child < 0) refuse(std::string("No process can be started: ") + std::strerror(errno));
  const std::string body = toUtf8(document.Body);
  for (std::size_t written = 0; written < body.size();) {
    const ssize_t count = write(ends[1], body.data() + written, body.size() - written);
    if (count < 0 && errno != EINTR) break;  // it does not read all: its exit code tells what it thinks of it
    if (count > 0) written += static_cast<std::size_t>(count);
  }
  close(ends[1]);
  int why = 0;
  const bool isRun = read(toldWhy[0], &why, sizeof why) <= 0;
  close(toldWhy[0]);
  int status = 0;
  while (waitpid(child, &status, 0) < 0 && errno == EINTR) {
  }
  if (!isRun) throw StopWorker("\"" + command[0] + "\" cannot be run: " + std::strerror(why));
  return status;
}

}  // namespace

void work(const std::string& queue, const std::vector<std::string>& command, const WorkOptions& options) {
  mustBeThere(queue);
  signal(SIGPIPE, SIG_IGN);
  sigset_t ending;
  sigemptyset(&ending);
  for (const int each : {SIGINT, SIGTERM, SIGUSR1}) sigaddset(&ending, each);
  pthread_sigmask(SIG_BLOCK, &ending, nullptr);
  std::stop_source stop;
  std::thread listener([&] {  // to a signal that asks to stop, or to the end of the work
    int received = 0;
    sigwait(&ending, &received);
    stop.request_stop();
  });
  struct End {
    std::thread& listener;
    ~End() {
      pthread_kill(listener.native_handle(), SIGUSR1);
      listener.join();
    }
  } end{listener};
  WorkerOptions given;
  given.attempts = options.attempts;
  given.pause = std::chrono::milliseconds(options.pauseSeconds * 1000);
  Worker worker(
      argument("queue name", queue),
      [&](const WorkerDocument& document) {
        const int status = statusOf(command, document);
        if (WIFSIGNALED(status))
          refuse(command[0] + " was ended by signal " + std::to_string(WTERMSIG(status)) + ".");
        if (WEXITSTATUS(status) != 0)
          refuse(command[0] + " ended with exit code " + std::to_string(WEXITSTATUS(status)) + ".");
      },
      given);
  if (options.isUntilEmpty)
    worker.runUntilEmpty(stop.get_token());
  else
    worker.run(stop.get_token());
  print({{"action", "worked"}, {"documents", worker.done()}, {"failed", worker.failed()}});
}

}  // namespace corvaneq
