// Tests behind the recording door, and the transcripts that they are compared with.
#pragma once

#include "RecordingPlatform.h"

namespace CorvaneQueue {

// An object of which every use by the test has a place of its own in the transcript.
template <class T>
class Stepwise {
 public:
  Stepwise(Recorder& recorder, Ref<T> object) : recorder_(&recorder), object_(std::move(object)) {}
  T* get() const { return object_.get(); }
  T& operator*() const { return *object_; }
  T* operator->() const { return recorder_->transcript += "--\n", object_.get(); }
  operator const Ref<T>&() const { return object_; }
  Stepwise& operator=(std::nullptr_t) { return object_ = nullptr, *this; }

 private:
  Recorder* recorder_;
  Ref<T> object_;
};

// A test behind this door. What it recorded is compared with the golden transcript of its name.
class RecordingTest : public ::testing::Test {
 protected:
  // Says in the transcript what follows, or what a call came to.
  void step(const std::string& text, const auto&... values) {
    recorder.transcript += "-- " + text;
    ((recorder.transcript += " " + shown(values)), ...);
    recorder.transcript += "\n";
  }
  void fails(const auto& body) {
    const auto error = errorOf(body);
    if (!error) return step("no error");
    step("error", error->number(), "of " + toUtf8(error->source()) + ": " + error->what());
  }
  // The same when the outward call that starts with this fails.
  void failsAt(const char* outward, const auto& body) {
    recorder.failing = outward;
    fails(body);
    recorder.failing.clear();
  }
  template <class T>
  Stepwise<T> stepwise(Ref<T> object = make<T>()) {
    return {recorder, std::move(object)};
  }
  Ref<RecordingMessage> message(int number, std::string_view text = "text") {
    const auto made = make<RecordingMessage>(recorder);
    made->id.resize(20);
    made->id[16] = static_cast<std::uint8_t>(number);
    made->label = u"Msg Type: <ORDER> ";
    made->body = Variant::bytes({reinterpret_cast<const std::uint8_t*>(text.data()), text.size()});
    return made;
  }
  // The next message that is peeked or received.
  Ref<RecordingMessage> prepared(int number, std::string_view text = "text") {
    const auto made = message(number, text);
    recorder.messages.push_back(made);
    return made;
  }
  // Subscribes to the queue; what arrives stands in the transcript.
  template <class Source>
  Subscription listening(const auto& to) {
    return {static_cast<_Queue*>(to.get()), arrivalKind<Source>, [this](std::span<VARIANT> arguments) {
              step("arrived:", arguments[1], arguments[0]);
              if (handle) handle(arguments);
            }};
  }
  // A client that writes into the document by reference.
  static void change(VARIANT& document) {
    SysFreeString(*document.pbstrVal);
    *document.pbstrVal = SysAllocString(u"changed");
  }
  // At the very end: what members of the test do at theirs is in the transcript.
  ~RecordingTest() override {
    const auto* test = ::testing::UnitTest::GetInstance()->current_test_info();
    const auto golden =
        std::string(GOLDEN_DIRECTORY) + "/" + test->test_suite_name() + "." + test->name() + ".txt";
    if (std::getenv("CORVANE_WRITE_GOLDEN") != nullptr) std::ofstream(golden) << recorder.transcript;
    std::ifstream stream(golden);
    EXPECT_EQ(std::string(std::istreambuf_iterator<char>(stream), {}), recorder.transcript)
        << "If the change is meant: run this test once with CORVANE_WRITE_GOLDEN=1 and review the file.";
  }

 private:
  platform_layer::ZstdCompression compression_;
  RecordingPlatform door_{&compression_};

 protected:
  Recorder& recorder = door_.recorder;
  std::function<void(std::span<VARIANT> arguments)> handle;
};

}  // namespace CorvaneQueue
