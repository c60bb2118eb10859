// Any bytes as an application's property list and as its desktop entry.
#include "platform/foundation/desktop_entry.h"
#include "platform/foundation/property_list.h"
#include "require.h"

using namespace vx;

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size) {
  const std::string_view text(reinterpret_cast<const char*>(bytes), size);
  if (const auto dictionary = dictionaryFromPropertyList(text)) {
    require(!Object(*dictionary).description().empty(), "what was read can be described");
  }
  const auto entry = parseDesktopEntry(text, "de_AT.UTF-8@euro");
  require(!entry || !entry->program || !entry->program->empty(), "a program has a name");
  return 0;
}
