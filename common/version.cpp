// Version string of the core, shown by `lumetra-cli --version` and the About box.
#include "common/version.h"

namespace lumetra {

std::string_view Version() {
  return "0.1.0";
}

}  // namespace lumetra
