// How an object tells the class that it is of.
#pragma once

#include "TypeInformation.h"

#include <CorvaneQueue/Ref.h>

namespace CorvaneQueue {

template <class Self>
class ClassInformation : public IProvideClassInfo {
 public:
  HRESULT CORVANE_CALL GetClassInfo(ITypeInfo** info) noexcept final {
    return classInformation(iidOf<typename Self::DefaultInterface>, info);
  }

 protected:
  void* provideClassInfo(REFIID iid) noexcept {
    return iid == IID_IProvideClassInfo ? static_cast<IProvideClassInfo*>(this) : nullptr;
  }
};

}  // namespace CorvaneQueue
