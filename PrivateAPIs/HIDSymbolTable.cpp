#include "PrivateAPIs/HIDSymbolTable.h"

#include <dlfcn.h>

#include "core/Logger.h"

namespace orv {

HIDSymbolTable::HIDSymbolTable(SymbolLookup lookup) : lookup_(std::move(lookup)) {}

void* HIDSymbolTable::defaultSymbolLookup(const char* name) {
    static void* handle = dlopen(nullptr, RTLD_NOW);
    return handle == nullptr ? nullptr : dlsym(handle, name);
}

const HIDSymbolTable::Symbols* HIDSymbolTable::symbols() {
    std::call_once(once_, [this] {
        complete_ = true;
        for (size_t i = 0; i < names.size(); ++i) {
            symbols_[i] = lookup_(names[i]);
            if (symbols_[i] == nullptr) {
                complete_ = false;
                break;  // the rest are not looked for
            }
        }
        if (!complete_) {
            symbols_ = {};
            static const Logger logger("app.orvantine.privateapis", "hid");
            logger.notice(unavailableMessage);
        }
    });
    return complete_ ? &symbols_ : nullptr;
}

HIDSymbolTable& HIDSymbolTable::shared() {
    static auto* table = new HIDSymbolTable();
    return *table;
}

}  // namespace orv
