#pragma once

#include <objc/message.h>
#include <objc/runtime.h>

#include <optional>
#include <string>

// The whole of this project's Objective-C glue: class and selector lookup,
// typed message sends, strings, and an autorelease pool for objects the
// frameworks hand back autoreleased. Nothing else calls objc_msgSend.
extern "C" void* objc_autoreleasePoolPush(void);
extern "C" void objc_autoreleasePoolPop(void* pool);

namespace orv::objc {

// Loads a system framework by path once (the classes only exist after),
// and answers whether it is there.
bool loadFramework(const char* path);

inline id classNamed(const char* name) { return reinterpret_cast<id>(objc_getClass(name)); }
inline SEL selector(const char* name) { return sel_registerName(name); }

// objc_msgSend must be called through a pointer of the method's exact type.
template <class R, class... Args>
R send(id receiver, const char* selectorName, Args... args) {
    using Function = R (*)(id, SEL, Args...);
    return reinterpret_cast<Function>(objc_msgSend)(receiver, selector(selectorName), args...);
}

bool respondsTo(id object, const char* selectorName);
bool isKindOf(id object, const char* className);

// An NSString made from UTF-8 (autoreleased), and the UTF-8 of an NSString.
id string(const char* utf8);
std::optional<std::string> utf8(id maybeString);

class AutoreleasePool {
public:
    AutoreleasePool() : pool_(objc_autoreleasePoolPush()) {}
    ~AutoreleasePool() { objc_autoreleasePoolPop(pool_); }
    AutoreleasePool(const AutoreleasePool&) = delete;
    AutoreleasePool& operator=(const AutoreleasePool&) = delete;

private:
    void* pool_;
};

}  // namespace orv::objc
