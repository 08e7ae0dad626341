#include "cli/TopState.h"

#include <algorithm>

namespace orv::cli {

std::optional<TopSort> sortForKey(char key) {
    switch (key) {
        case 'c': case 'C': return TopSort::cpu;
        case 'm': case 'M': return TopSort::memory;
        case 'd': case 'D': return TopSort::disk;
        case 'n': case 'N': return TopSort::network;
        case 'e': case 'E': return TopSort::energy;
        default: return std::nullopt;
    }
}

const char* sortName(TopSort sort) {
    switch (sort) {
        case TopSort::cpu: return "CPU";
        case TopSort::memory: return "memory";
        case TopSort::disk: return "disk";
        case TopSort::network: return "network";
        case TopSort::energy: return "energy";
    }
    return "CPU";
}

size_t TopState::selectedIndex(const std::vector<int32_t>& rows) const {
    if (!selectedPID) return 0;
    auto found = std::find(rows.begin(), rows.end(), *selectedPID);
    return found == rows.end() ? 0 : size_t(found - rows.begin());
}

TopAction TopState::press(const TopKey& key, const std::vector<int32_t>& rows, size_t pageRows) {
    using K = TopKey::Kind;
    if (editingFilter) {
        switch (key.kind) {
            case K::enter: editingFilter = false; break;
            case K::escape: editingFilter = false; filter.clear(); break;
            case K::backspace:
                // Whole UTF-8 characters: drop continuation bytes with their lead.
                while (!filter.empty() && (static_cast<unsigned char>(filter.back()) & 0xC0) == 0x80) filter.pop_back();
                if (!filter.empty()) filter.pop_back();
                break;
            case K::character:
                if (static_cast<unsigned char>(key.character) >= 0x20) filter += key.character;
                break;
            default: return TopAction::none;
        }
        selectedPID.reset();
        return TopAction::redraw;
    }

    auto moveTo = [&](ptrdiff_t index) {
        if (rows.empty()) return TopAction::none;
        index = std::clamp<ptrdiff_t>(index, 0, ptrdiff_t(rows.size()) - 1);
        selectedPID = rows[size_t(index)];
        return TopAction::redraw;
    };
    // A detail or a stop is about the row on screen: the first, when none
    // was chosen, is pinned so that a new frame's order cannot change it.
    bool aboutTheRow = key.kind == K::enter ||
                       (key.kind == K::character && (key.character == 'x' || key.character == 'X'));
    if (aboutTheRow && !rows.empty()) selectedPID = rows[selectedIndex(rows)];
    ptrdiff_t at = ptrdiff_t(selectedIndex(rows));
    ptrdiff_t page = ptrdiff_t(std::max<size_t>(pageRows, 1));
    switch (key.kind) {
        case K::up: return moveTo(at - 1);
        case K::down: return moveTo(at + 1);
        case K::pageUp: return moveTo(at - page);
        case K::pageDown: return moveTo(at + page);
        case K::home: return moveTo(0);
        case K::end: return moveTo(ptrdiff_t(rows.size()) - 1);
        case K::enter:
            detail = !detail;
            help = false;
            return TopAction::redraw;
        case K::escape:
            if (!help && !detail && filter.empty()) return TopAction::none;
            help = false;
            detail = false;
            filter.clear();
            return TopAction::redraw;
        case K::backspace: return TopAction::none;
        case K::character: break;
    }
    char c = key.character;
    if (auto chosen = sortForKey(c)) {
        sort = *chosen;
        return TopAction::redraw;
    }
    switch (c) {
        case 'q': case 'Q': return TopAction::quit;
        case 'x': return TopAction::stopProcess;
        case 'X': return TopAction::stopApp;
        case 'k': case 'K': showKernelThreads = !showKernelThreads; return TopAction::redraw;
        case 't': case 'T': tree = !tree; return TopAction::redraw;
        case '?': case 'h': help = !help; detail = false; return TopAction::redraw;
        case '/':
            editingFilter = true;
            return TopAction::redraw;
        default: return TopAction::none;
    }
}

}  // namespace orv::cli
