#include "System.h"

#include <windows.h>
// after windows.h
#include <fcntl.h>
#include <io.h>
#include <shellapi.h>
#include <algorithm>
#include <atomic>
#include <cstdio>
#include <optional>
#include <stdexcept>
#include <thread>

namespace corvaneq {

namespace {

std::wstring wide(const std::string& text) { return fileNamed(text).native(); }

std::string utf8(const wchar_t* text) { return nameOf(std::filesystem::path(text)); }

std::string reasonOf(DWORD error) { return std::system_category().message(static_cast<int>(error)); }

}  // namespace

std::vector<std::string> argumentsOf(int, char**) {
  int count = 0;
  wchar_t** const given = ::CommandLineToArgvW(::GetCommandLineW(), &count);
  std::vector<std::string> arguments;
  for (int i = 1; i < count; ++i) arguments.push_back(utf8(given[i]));
  ::LocalFree(given);
  return arguments;
}

void secureStreams() {
  for (std::FILE* const stream : {stdin, stdout}) _setmode(_fileno(stream), _O_BINARY);
  ::SetConsoleOutputCP(CP_UTF8);
}

bool isTerminal(Stream stream) noexcept {
  DWORD mode = 0;
  const HANDLE handle = ::GetStdHandle(stream == Stream::Output ? STD_OUTPUT_HANDLE : STD_ERROR_HANDLE);
  return ::GetConsoleMode(handle, &mode) != 0;
}

// ---- Encodings

namespace {

std::optional<UINT> codePageNamed(std::string name) {
  std::ranges::transform(name, name.begin(),
                         [](char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c + 32) : c; });
  struct Known {
    const char* name;
    UINT codePage;
  };
  constexpr Known known[] = {{"utf-8", 65001},      {"utf8", 65001},       {"ascii", 20127},
                             {"us-ascii", 20127},   {"latin1", 28591},     {"shift_jis", 932},
                             {"iso-8859-1", 28591}, {"iso-8859-2", 28592}, {"iso-8859-15", 28605},
                             {"gbk", 936},          {"big5", 950},         {"koi8-r", 20866}};
  for (const Known& each : known)
    if (name == each.name) return each.codePage;
  for (const char* const prefix : {"windows-", "cp", "ibm"})
    if (name.starts_with(prefix)) {
      const UINT number = static_cast<UINT>(std::strtoul(name.c_str() + std::strlen(prefix), nullptr, 10));
      if (number > 42 && ::IsValidCodePage(number) != 0) return number;
    }
  return std::nullopt;
}

}  // namespace

std::u16string decoded(const std::string& content, const std::string& encoding) {
  std::u16string text;
  if (encoding == "UTF-16LE" || encoding == "utf-16le") {
    if (content.size() % 2 != 0)
      throw std::runtime_error("byte " + std::to_string(content.size() - 1) + " does not fit");
    text.resize(content.size() / 2);
    std::copy_n(content.data(), content.size(), reinterpret_cast<char*>(text.data()));
    return text;
  }
  const auto codePage = codePageNamed(encoding);
  if (!codePage)
    throw std::runtime_error("there is no encoding \"" + encoding +
                             "\": name a code page, such as windows-1252 or cp850");
  constexpr std::size_t longestCharacter = 4;
  for (std::size_t at = 0; at < content.size();) {
    std::size_t size = 1;
    wchar_t units[4];
    int count = 0;
    for (; size <= std::min(longestCharacter, content.size() - at); ++size)
      if ((count = ::MultiByteToWideChar(*codePage, MB_ERR_INVALID_CHARS, &content[at],
                                         static_cast<int>(size), units, 4)) > 0)
        break;
    if (count <= 0) throw std::runtime_error("byte " + std::to_string(at) + " does not fit");
    text.append(reinterpret_cast<const char16_t*>(units), static_cast<std::size_t>(count));
    at += size;
  }
  return text;
}

// ---- A program

namespace {

// As the runtime of the program takes it apart.
std::wstring quoted(const std::wstring& argument) {
  if (!argument.empty() && argument.find_first_of(L" \t\"") == std::wstring::npos) return argument;
  std::wstring result = L"\"";
  std::size_t backslashes = 0;
  for (const wchar_t c : argument) {
    if (c == L'"') result.append(backslashes + 1, L'\\');
    backslashes = c == L'\\' ? backslashes + 1 : 0;
    result += c;
  }
  return result.append(backslashes, L'\\') + L'"';
}

class Handle {
 public:
  Handle() noexcept = default;
  ~Handle() { close(); }
  Handle(const Handle&) = delete;
  Handle& operator=(const Handle&) = delete;
  void close() noexcept {
    if (native != nullptr) ::CloseHandle(std::exchange(native, nullptr));
  }
  HANDLE native = nullptr;
};

}  // namespace

std::string howItEnded(const std::vector<std::string>& command, const Environment& environment,
                       const std::string& input) {
  SECURITY_ATTRIBUTES inherited{sizeof inherited, nullptr, TRUE};
  Handle readEnd;
  Handle writeEnd;
  if (::CreatePipe(&readEnd.native, &writeEnd.native, &inherited, 0) == 0)
    throw std::runtime_error("No pipe can be made: " + reasonOf(::GetLastError()));
  ::SetHandleInformation(writeEnd.native, HANDLE_FLAG_INHERIT, 0);
  for (const auto& [name, value] : environment)  // nobody else in this process reads them
    ::SetEnvironmentVariableW(wide(name).c_str(), wide(value).c_str());
  std::wstring line;
  for (const std::string& argument : command) line += (line.empty() ? L"" : L" ") + quoted(wide(argument));
  STARTUPINFOW start{};
  start.cb = sizeof start;
  start.dwFlags = STARTF_USESTDHANDLES;
  start.hStdInput = readEnd.native;
  start.hStdOutput = ::GetStdHandle(STD_OUTPUT_HANDLE);
  start.hStdError = ::GetStdHandle(STD_ERROR_HANDLE);
  PROCESS_INFORMATION started{};
  // In a group of its own: who stops this tool by the keyboard lets the program end.
  if (::CreateProcessW(nullptr, line.data(), nullptr, nullptr, TRUE, CREATE_NEW_PROCESS_GROUP, nullptr,
                       nullptr, &start, &started) == 0)
    throw CannotRun("\"" + command[0] + "\" cannot be run: " + reasonOf(::GetLastError()));
  Handle process;
  process.native = started.hProcess;
  ::CloseHandle(started.hThread);
  readEnd.close();
  for (std::size_t written = 0; written < input.size();) {
    constexpr std::size_t most = 1 << 20;
    DWORD count = 0;
    if (::WriteFile(writeEnd.native, input.data() + written,
                    static_cast<DWORD>(std::min(most, input.size() - written)), &count, nullptr) == 0)
      break;  // it does not read all: its exit code tells what it thinks of it
    written += count;
  }
  writeEnd.close();
  ::WaitForSingleObject(process.native, INFINITE);
  DWORD code = 0;
  ::GetExitCodeProcess(process.native, &code);
  return code == 0 ? "" : "ended with exit code " + std::to_string(code);
}

// ---- Being asked to end

struct EndRequests::State {
  std::function<void()> asked;
};

namespace {
std::atomic<std::function<void()>*> onRequest{nullptr};

BOOL WINAPI request(DWORD) {
  const auto* const asked = onRequest.load();
  if (asked == nullptr) return FALSE;
  (*asked)();
  return TRUE;
}
}  // namespace

EndRequests::EndRequests(std::function<void()> asked)
    : state_(std::make_unique<State>(State{std::move(asked)})) {
  onRequest = &state_->asked;
  ::SetConsoleCtrlHandler(request, TRUE);
}

EndRequests::~EndRequests() {
  ::SetConsoleCtrlHandler(request, FALSE);
  onRequest = nullptr;
}

}  // namespace corvaneq
