// The main of test programs, which are their own helpers too.
#include "Processes.h"

#include <gmock/gmock.h>

int main(int count, char** arguments) {
  if (count > 1 && arguments[1] == std::string(processes::option))
    return processes::work({arguments + 2, arguments + count});
  ::testing::InitGoogleMock(&count, arguments);
  return RUN_ALL_TESTS();
}
