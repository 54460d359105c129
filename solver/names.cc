#include "solver/names.h"

#include <charconv>

void name_list::append(int count, const char *const *names)
{
    size_t first = own.size();
    own.resize(first + count);
    if (names == nullptr) return;
    for (int i = 0; i < count; i++) {
        if (names[i] != nullptr) own[first + i] = names[i];
        if (indexed) note(static_cast<int>(first) + i);
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
