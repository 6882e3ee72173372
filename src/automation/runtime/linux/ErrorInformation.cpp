#include "ErrorInformation.h"

#include "Lasting.h"

namespace CorvaneQueue {

namespace {

class ErrorInformation final : public Object<ErrorInformation, IErrorInfo> {
 public:
  ErrorInformation(String source, String description)
      : source_(std::move(source)), description_(std::move(description)) {}
  HRESULT CORVANE_CALL GetGUID(GUID* guid) noexcept final {
    return answer([&] { given(guid) = IID_NULL; });
  }
  HRESULT CORVANE_CALL GetSource(BSTR* source) noexcept final {
    return answer(source, [&] { return source_; });
  }
  HRESULT CORVANE_CALL GetDescription(BSTR* description) noexcept final {
    return answer(description, [&] { return description_; });
  }
  HRESULT CORVANE_CALL GetHelpFile(BSTR* file) noexcept final {
    return answer(file, [] { return String(); });
  }
  HRESULT CORVANE_CALL GetHelpContext(DWORD* context) noexcept final {
    return answer([&] { given(context) = 0; });
  }

 private:
  String source_;
  String description_;
};

// Like the platform's: one slot a thread, emptied by reading it. What the library itself published lies
// there as texts: an object, made when somebody asks, would keep the library loaded.
struct Information {
  bool isPublished = false;
  String source;
  String description;
  Ref<IErrorInfo> given;
};
Information& currentInformation() {
  static Lasting<PerThread<Information>> slots;
  return slots->current();
}

}  // namespace

struct KeptErrorInformation::State {
  Information information;
};
KeptErrorInformation::KeptErrorInformation()
    : before_(std::make_unique<State>(State{std::exchange(currentInformation(), {})})) {}
KeptErrorInformation::~KeptErrorInformation() { currentInformation() = std::move(before_->information); }

ErrorTexts takeErrorTexts() {
  auto [isPublished, source, description, given] = std::exchange(currentInformation(), {});
  if (given != nullptr) {
    given->GetSource(source.address());
    given->GetDescription(description.address());
  }
  return {std::move(source), std::move(description)};
}

void publishErrorTexts(ErrorTexts texts) {
  currentInformation() = {true, std::move(texts.source), std::move(texts.description), nullptr};
}

extern "C" {

HRESULT SetErrorInfo(ULONG, IErrorInfo* information) noexcept {
  try {
    auto& current = currentInformation();
    if (!current.isPublished && current.given == nullptr && information == nullptr) return S_OK;
    current = {false, {}, {}, Ref<IErrorInfo>(information)};
    return S_OK;
  } catch (const std::bad_alloc&) {
    return E_OUTOFMEMORY;
  }
}

HRESULT GetErrorInfo(ULONG, IErrorInfo** information) noexcept {
  if (information == nullptr) return E_POINTER;
  *information = nullptr;
  try {
    auto current = std::exchange(currentInformation(), {});
    *information =
        current.isPublished
            ? make<ErrorInformation>(std::move(current.source), std::move(current.description)).detach()
            : current.given.detach();
  } catch (const std::bad_alloc&) {  // the number still arrives
  }
  return *information == nullptr ? S_FALSE : S_OK;
}

}  // extern "C"

}  // namespace CorvaneQueue
