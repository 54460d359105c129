#include "solver/model/names.h"

#include <charconv>

namespace vnt {

std::vector<std::string> name_list::copies(int count, const char *const *names)
{
    std::vector<std::string> list(count);
    for (int i = 0; i < count && names != nullptr; i++) {
        if (names[i] != nullptr) list[i] = names[i];
    }
    return list;
}

void name_list::make_room(int count)
{
    vnt::make_room(own, count);
}

void name_list::append(std::vector<std::string> &&fresh) noexcept
{
    for (std::string &name : fresh) {
        own.push_back(std::move(name));
        try {
            if (indexed) note(size() - 1);
        } catch (...) {
            indexed = false; // the next look-up makes it again
        }
    }
}

// The first of equal names keeps its place.
void name_list::note(int i) const
{
    if (!own[i].empty()) places.emplace(own[i], i);
}

std::string name_list::at(int i) const
{
    return own[i].empty() ? letter + std::to_string(i + 1) : own[i];
}

int name_list::find_made(const std::string &name) const
{
    if (name.size() < 2 || name[0] != letter || name[1] < '1' || name[1] > '9') return -1;
    int i = 0;
    const char *end = name.data() + name.size();
    auto [stop, error] = std::from_chars(name.data() + 1, end, i);
    if (error != std::errc() || stop != end || i > size()) return -1;
    return own[i - 1].empty() ? i - 1 : -1;
}

int name_list::find(const std::string &name) const
{
    if (name.empty()) return -1;
    if (!indexed) {
        places.clear();
        for (int i = 0; i < size(); i++)
            note(i);
        indexed = true;
    }
    auto found = places.find(name);
    return found != places.end() ? found->second : find_made(name);
}

void name_list::rename(int i, const char *name)
{
    own[i] = name != nullptr ? name : "";
    indexed = false;
}

void name_list::clear()
{
    own.assign(own.size(), {});
    indexed = false;
}

void name_list::keep(const std::vector<int> &place, int left)
{
    for (int i = 0; i < size(); i++) {
        if (place[i] >= 0 && place[i] != i) own[place[i]] = std::move(own[i]);
    }
    own.resize(left);
    indexed = false;
}

} // namespace vnt
