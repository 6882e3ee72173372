#include "Output.h"
#include "Lookups.h"
#include "System.h"

#include <cmath>
#include <cstdio>
#include <ctime>
#include <iostream>
#include <nlohmann/json.hpp>

namespace corvaneq {

using CorvaneQueue::Error;

namespace {

bool isJson = false;
bool isBarDrawn = false;

void eraseBar() {
  if (!std::exchange(isBarDrawn, false)) return;
  std::cerr << "\r\033[K" << std::flush;
}

std::string oneLine(const std::string& text) {
  std::string line;
  for (const char c : text) {
    const auto byte = static_cast<unsigned char>(c);
    if (byte >= 0x20 && byte != 0x7F) {
      line += c;
      continue;
    }
    char escape[8];
    std::snprintf(escape, sizeof escape, "\\x%02X", byte);
    line += escape;
  }
  return line;
}

std::string shown(const Field& field) {
  if (const auto* text = std::get_if<std::string>(&field)) return oneLine(*text);
  if (const auto* number = std::get_if<std::int64_t>(&field)) return std::to_string(*number);
  return std::get<bool>(field) ? "true" : "false";
}

std::string jsonText(Row row) {
  nlohmann::ordered_json object = nlohmann::ordered_json::object();
  for (const auto& [name, field] : row)
    std::visit([&member = object[name]](const auto& value) { member = value; }, field);
  // A file's name need not be UTF-8.
  return object.dump(-1, ' ', false, nlohmann::ordered_json::error_handler_t::replace);
}

}  // namespace

void useJson() noexcept { isJson = true; }
bool usesJson() noexcept { return isJson; }

void print(const Row& row) {
  std::string line;
  if (isJson)
    line = jsonText(row);
  else
    for (const auto& field : row) line += (&field == row.data() ? "" : "\t") + shown(field.second);
  if (isTerminal(Stream::Output)) eraseBar();
  std::cout << line << std::endl;
  if (!std::cout)
    throw Error(CorvaneQueue::ErrorNumber::InvalidArgument, u"corvaneq",
                u"Standard output cannot be written.");
}

void tell(const char* name, Field value) { print({{"name", name}, {"value", std::move(value)}}); }

void printError(const std::string& description) {
  eraseBar();
  if (isJson)
    std::cerr << jsonText({{"error", description}}) << '\n';
  else
    std::cerr << "corvaneq: " << oneLine(description) << '\n';
}

void printError(const Error& error) {
  eraseBar();
  const std::string source = CorvaneQueue::toUtf8(error.source());
  const std::int64_t number = static_cast<std::uint32_t>(error.number());  // 0x80004005 is positive
  if (isJson) {
    std::cerr << jsonText({{"error", error.what()}, {"number", number}, {"source", source}}) << '\n';
    return;
  }
  char shownNumber[16];  // as the table of errors has it
  std::snprintf(shownNumber, sizeof shownNumber, error.number() < 0 ? "0x%08X" : "%d",
                static_cast<unsigned>(error.number()));
  std::cerr << "corvaneq: " << oneLine(error.what()) << " (error " << shownNumber
            << (source.empty() ? "" : ", ") << source << ")\n";
}

namespace {
// Since 1970.
std::time_t secondsIn(CorvaneQueue::Date time) {
  constexpr double dayOf1970 = 25569;
  return std::llround((time.value - dayOf1970) * 86400);
}
std::tm partsOf(std::time_t time) {
  using namespace std::chrono;
  const sys_seconds moment{seconds(time)};
  const year_month_day date(floor<days>(moment));
  const hh_mm_ss clock(moment - floor<days>(moment));
  std::tm parts{};
  parts.tm_year = static_cast<int>(date.year()) - 1900;
  parts.tm_mon = static_cast<int>(static_cast<unsigned>(date.month())) - 1;
  parts.tm_mday = static_cast<int>(static_cast<unsigned>(date.day()));
  parts.tm_hour = static_cast<int>(clock.hours().count());
  parts.tm_min = static_cast<int>(clock.minutes().count());
  parts.tm_sec = static_cast<int>(clock.seconds().count());
  return parts;
}
std::string utcText(std::time_t time) {
  const std::tm parts = partsOf(time);
  char text[40];
  return {text, std::strftime(text, sizeof text, "%Y-%m-%dT%H:%M:%SZ", &parts)};
}
}  // namespace

std::string utcText(CorvaneQueue::Date time) { return utcText(secondsIn(time)); }

std::string utcOfLocal(CorvaneQueue::Date time) {
  std::tm parts = partsOf(secondsIn(time));
  parts.tm_isdst = -1;
  return utcText(std::mktime(&parts));
}

std::string answerTo(const std::string& question) {
  if (isJson)
    std::cerr << jsonText({{"question", question}}) << std::endl;
  else
    std::cerr << oneLine(question) << ' ' << std::flush;
  std::string reply;
  std::getline(std::cin, reply);
  if (!std::cin && !isJson) std::cerr << '\n';
  return reply;
}

void confirm(const std::string& what) {
  const std::string reply = answerTo(what + " Go on? [y/N]");
  if (reply != "y" && reply != "Y" && reply != "yes")
    throw Declined("Nothing was done. Answer y, or add --yes.");
}

Progress::Progress(std::size_t total)
    : total_(total),
      isShown_(isTerminal(Stream::Errors)),
      next_(std::chrono::steady_clock::now() + std::chrono::seconds(1)) {}

Progress::~Progress() { eraseBar(); }

void Progress::at(std::size_t done, std::size_t total) {
  done_ = done;
  total_ = total;
  if (!isShown_) return;
  const auto now = std::chrono::steady_clock::now();
  if (now < next_) return;
  next_ = now + std::chrono::milliseconds(100);
  if (total_ == 0) {
    std::cerr << '\r' << done_ << " done\033[K" << std::flush;
  } else {
    constexpr std::size_t width = 40;
    const std::size_t filled = std::min(width, width * done_ / total_);
    std::cerr << "\r[" << std::string(filled, '#') << std::string(width - filled, ' ') << "] " << done_ << '/'
              << total_ << "\033[K" << std::flush;
  }
  isBarDrawn = true;
}

}  // namespace corvaneq
