// Linux has no bundles: the Info.plist is the property list linked into
// the program.
#include "helper/EmbeddedInfoPlist.h"
#include "helper/HelperInfo.h"

namespace orv::HelperInfo {

std::optional<PropertyValue> load() { return parse(embeddedInfoPlist()); }

}  // namespace orv::HelperInfo
