#include "PrivateAPIs/darwin/ObjCRuntime.h"

#include <dlfcn.h>

namespace orv::objc {

bool loadFramework(const char* path) {
    // The handle is kept for the life of the process, as the classes are.
    return dlopen(path, RTLD_LAZY | RTLD_GLOBAL) != nullptr;
}

bool respondsTo(id object, const char* selectorName) {
    if (object == nullptr) return false;
    return send<BOOL, SEL>(object, "respondsToSelector:", selector(selectorName));
}

bool isKindOf(id object, const char* className) {
    id cls = classNamed(className);
    if (object == nullptr || cls == nullptr) return false;
    return send<BOOL, id>(object, "isKindOfClass:", cls);
}

id string(const char* utf8Text) {
    id cls = classNamed("NSString");
    if (cls == nullptr) return nullptr;
    return send<id, const char*>(cls, "stringWithUTF8String:", utf8Text);
}

std::optional<std::string> utf8(id maybeString) {
    if (!isKindOf(maybeString, "NSString")) return std::nullopt;
    const char* text = send<const char*>(maybeString, "UTF8String");
    if (text == nullptr) return std::nullopt;
    return std::string(text);
}

}  // namespace orv::objc
