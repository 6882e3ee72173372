#include "DocumentFile.h"

#include "Label.h"
#include "Platform.h"
#include "StoredText.h"
#include "UtcTime.h"

#include <CorvaneQueue/Error.h>

#include <cerrno>
#include <charconv>
#include <nlohmann/json.hpp>
#include <system_error>

#define XXH_INLINE_ALL
#include <xxhash.h>

namespace CorvaneQueue {

namespace {

using Json = nlohmann::ordered_json;
constexpr std::int64_t batchBytes = 4 << 20;

[[noreturn]] void fail(const std::filesystem::path& file, const std::string& what) {
  throw Error(ErrorNumber::InvalidArgument, u"CorvaneQueue.Operations",
              fromUtf8("The file \"" + file.string() + "\": " + what));
}

std::string hexadecimal(std::uint64_t number) {
  char text[17];
  std::snprintf(text, sizeof text, "%016llx", static_cast<unsigned long long>(number));
  return text;
}
// Of label and body in their stored form.
std::string checksumOf(std::string_view label, std::string_view body) {
  return hexadecimal(XXH3_64bits_withSeed(body.data(), body.size(), XXH3_64bits(label.data(), label.size())));
}

constexpr std::string_view digits = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
std::string toBase64(std::string_view bytes) {
  std::string text;
  for (std::size_t i = 0; i < bytes.size(); i += 3) {
    std::uint32_t group = 0;
    for (std::size_t k = 0; k < 3; ++k)
      group = group << 8 | (i + k < bytes.size() ? static_cast<unsigned char>(bytes[i + k]) : 0u);
    for (std::size_t k = 0; k < 4; ++k)
      text += i + k > bytes.size() ? '=' : digits[group >> (18 - 6 * k) & 63];
  }
  return text;
}
std::optional<std::string> fromBase64(std::string_view text) {
  std::string bytes;
  if (text.size() % 4 != 0) return std::nullopt;
  while (!text.empty() && text.back() == '=') text.remove_suffix(1);
  std::uint32_t group = 0;
  int bits = 0;
  for (const char c : text) {
    const std::size_t value = digits.find(c);
    if (value == std::string_view::npos) return std::nullopt;
    group = group << 6 | static_cast<std::uint32_t>(value);
    if ((bits += 6) < 8) continue;
    bits -= 8;
    bytes += static_cast<char>(group >> bits & 0xFF);
  }
  return bytes;
}

// A text as a JSON string, or in base64 when it is no Unicode text.
bool isUnicode(std::u16string_view text) {
  for (std::size_t i = 0; i < text.size(); ++i) {
    if (text[i] < 0xD800 || text[i] > 0xDFFF) continue;
    if (text[i] > 0xDBFF || i + 1 == text.size() || text[i + 1] < 0xDC00 || text[i + 1] > 0xDFFF)
      return false;
    ++i;
  }
  return true;
}
Json shown(std::u16string_view text) { return isUnicode(text) ? toUtf8(text) : std::string(); }

}  // namespace

std::string checksumText(std::string_view bytes) {
  return hexadecimal(XXH3_64bits(bytes.data(), bytes.size()));
}

// ---- Export

ExportFile::ExportFile(std::filesystem::path file, const std::string& what, Begin begin)
    : file_(std::move(file)), part_(file_) {
  part_ += "." + what + ".part";
  if (std::filesystem::exists(file_))
    fail(file_, "it is there already; nothing was exported. Name another one.");
  if (begin == Begin::Anew) std::filesystem::remove(part_);
  if (std::filesystem::exists(part_)) goOn();
  stream_.open(part_, std::ios::binary | std::ios::app);
  mustBeGood("cannot be written");
}

void ExportFile::goOn() {
  std::ifstream written(part_, std::ios::binary);
  std::uintmax_t whole = 0;
  for (std::string line; std::getline(written, line) && !written.eof();) {
    const Json object = Json::parse(line, nullptr, false);
    if (!object.is_object() || !object.contains("position")) break;
    position_ = object["position"].get<std::int64_t>();
    whole += line.size() + 1;
    ++count_;
  }
  written.close();
  std::filesystem::resize_file(part_, whole);
}

void ExportFile::mustBeGood(const char* tried) {
  if (stream_) return;
  fail(part_, std::string(tried) + ": " + std::generic_category().message(errno) +
                  ". What is in it stays: call Export again to go on.");
}

void ExportFile::add(std::u16string_view queue, const OperatedStore& store, const StoredDocument& document) {
  const String text = store.textOf(document);
  const std::string body = toStored(text);
  const std::string label = toStored(document.label);
  RoutingFields fields;
  try {
    ParseLabel(document.label, fields);
  } catch (const Error&) {  // a label of somebody else's making
  }
  Json object = {{"queue", shown(queue)},
                 {"id", toUtf8(store.shownID(document.id))},
                 {"position", document.position},
                 {"msgType", shown(fields.MsgType)},
                 {"msgId", shown(fields.MsgID)},
                 {"object", shown(fields.Object)},
                 {"objectId", shown(fields.ObjectID)},
                 {"sent", toUtf8(utcText(document.sent))}};
  if (document.acknowledged) object["acknowledged"] = toUtf8(utcText(*document.acknowledged));
  const bool isText = isUnicode(text) && isUnicode(document.label);
  object["kind"] = isText ? "text" : "base64";
  object["label"] = isText ? label : toBase64(label);
  object["body"] = isText ? body : toBase64(body);
  object["checksum"] = checksumOf(label, body);
  const std::string line = object.dump() + '\n';
  stream_ << line;
  mustBeGood("cannot be written");
  ++count_;
  // All of it at the end would keep the syncs of others waiting.
  constexpr std::size_t muchUnsynced = 4 << 20;
  if ((unsynced_ += line.size()) < muchUnsynced) return;
  unsynced_ = 0;
  stream_.flush();
  mustBeGood("cannot be written");
  platform().operations->sync(part_);
}

void ExportFile::finish() {
  stream_.close();
  mustBeGood("cannot be written");
  platform().operations->giveName(part_, file_);
}

// ---- Import

ImportFile::ImportFile(std::filesystem::path file)
    : file_(std::move(file)), stream_(file_, std::ios::binary) {
  if (std::filesystem::is_directory(file_)) fail(file_, "it is a directory.");
  if (!stream_) fail(file_, "it cannot be read: " + std::generic_category().message(errno));
}

std::string ImportFile::firstLine() const {
  std::ifstream beginning(file_, std::ios::binary);
  std::string line;
  std::getline(beginning, line);
  return line;
}

std::string ImportFile::checksum() const { return hexadecimal(place_.checksum); }

void ImportFile::pass(const std::string& line) {
  place_ = {place_.position + std::ssize(line) + 1, place_.line + 1,
            XXH3_64bits_withSeed(line.data(), line.size(), place_.checksum)};
}

void ImportFile::goTo(const Place& place) {
  stream_.clear();
  stream_.seekg(place.position);
  place_ = place;
}

std::optional<std::size_t> ImportFile::goOn(std::span<const std::pair<std::int64_t, std::string>> places) {
  std::optional<std::size_t> last;
  Place there;
  std::size_t next = 0;
  for (std::string line; next < places.size() && std::getline(stream_, line);) {
    pass(line);
    for (; next < places.size() && places[next].first <= position(); ++next) {
      const auto& [position, checksum] = places[next];
      if (position != place_.position || (!checksum.empty() && checksum != this->checksum())) continue;
      last = next;
      there = place_;
    }
  }
  goTo(there);
  return last;
}

void ImportFile::refuse(const std::string& what) const {
  fail(file_, "line " + std::to_string(line() + 1) + " " + what +
                  ". The documents before it are imported: correct the line and import the file again.");
}

bool ImportFile::next(std::size_t count, std::u16string_view queue, const OperatedStore& store,
                      std::vector<StoredDocument>& documents) {
  documents.clear();
  std::int64_t bytes = 0;
  std::string line;
  while (documents.size() < count && bytes < batchBytes && std::getline(stream_, line)) {
    try {
      if (!line.empty()) documents.push_back(documentIn(line, queue, store));
    } catch (const Error&) {
      if (documents.empty()) throw;
      goTo(place_);  // what is before it is stored first
      return true;
    }
    pass(line);
    bytes += std::ssize(line);
  }
  if (stream_.bad()) fail(file_, "it cannot be read to its end.");
  return !documents.empty();
}

StoredDocument ImportFile::documentIn(const std::string& line, std::u16string_view queue,
                                      const OperatedStore& store) {
  const Json object = Json::parse(line, nullptr, false);
  if (!object.is_object()) refuse("is no JSON object");
  const auto text = [&](const char* key) {
    const auto found = object.find(key);
    if (found == object.end() || !found->is_string()) refuse("has no text \"" + std::string(key) + "\"");
    return found->get<std::string>();
  };
  const std::string kind = text("kind");
  if (kind != "text" && kind != "base64") refuse("has the kind \"" + kind + "\": known are text and base64");
  const auto bytes = [&](const char* key) {
    if (kind == "text") return text(key);
    const auto decoded = fromBase64(text(key));
    if (!decoded) refuse("has a \"" + std::string(key) + "\" that is not base64");
    return *decoded;
  };
  const std::string label = bytes("label");
  const std::string body = bytes("body");
  if (checksumOf(label, body) != text("checksum"))
    refuse("does not have the checksum that it names: it is not what was exported");
  try {
    StoredDocument document = store.documentOf(queue, fromStored(label), fromStored(body));
    document.sent = utcTime(fromUtf8(text("sent")));
    document.length = std::ssize(body);
    return document;
  } catch (const Error& error) {
    refuse("cannot be imported: " + std::string(error.what()));
  }
}

}  // namespace CorvaneQueue
