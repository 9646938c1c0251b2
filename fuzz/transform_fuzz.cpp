// Fuzz target for the transform text parser: any input must either parse or be refused with
// zubra::Exception, and the display text of whatever parses must parse again.
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string>

#include "zubra/platform/util/exception.h"
#include "zubra/region/transform.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  const std::string text(reinterpret_cast<const char*>(data), size);
  zubra::Transform parsed;
  try {
    parsed = zubra::Transform::GetTransform(text);
  } catch (const zubra::Exception&) {
    return 0;
  }
  try {
    const zubra::Transform again = zubra::Transform::GetTransform(parsed.GetTransformString('x'));
    if (again.GetTransform() != parsed.GetTransform()) std::abort();
  } catch (const zubra::Exception&) {
    std::abort();  // every display text must parse
  }
  return 0;
}
