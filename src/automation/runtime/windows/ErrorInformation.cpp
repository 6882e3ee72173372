#include "ErrorInformation.h"

#include "Form.h"

#include <CorvaneQueue/Ref.h>

namespace CorvaneQueue {

struct KeptErrorInformation::State {
  Ref<IErrorInfo> information;
};
KeptErrorInformation::KeptErrorInformation() : before_(std::make_unique<State>()) {
  IErrorInfo* information = nullptr;
  ::GetErrorInfo(0, &information);
  before_->information = Ref<IErrorInfo>::adopt(information);
}
KeptErrorInformation::~KeptErrorInformation() { ::SetErrorInfo(0, before_->information.get()); }

ErrorTexts takeErrorTexts() {
  IErrorInfo* given = nullptr;
  if (::GetErrorInfo(0, &given) != S_OK) return {};
  const auto information = Ref<IErrorInfo>::adopt(given);
  ErrorTexts texts;
  information->GetSource(texts.source.address());
  information->GetDescription(texts.description.address());
  return texts;
}

void publishErrorTexts(ErrorTexts texts) {
  ICreateErrorInfo* made = nullptr;
  if (FAILED(::CreateErrorInfo(&made))) throw std::bad_alloc();
  const auto created = Ref<ICreateErrorInfo>::adopt(made);
  created->SetSource(String(std::move(texts.source)).bstr());
  created->SetDescription(String(std::move(texts.description)).bstr());
  IErrorInfo* information = nullptr;
  if (FAILED(created->QueryInterface(IID_IErrorInfo, reinterpret_cast<void**>(&information))))
    throw std::bad_alloc();
  const auto published = Ref<IErrorInfo>::adopt(information);
  ::SetErrorInfo(0, published.get());
}

}  // namespace CorvaneQueue
