// names.h: the names of a problem's rows or columns.
//
// An element without a name of its own has one made of the list's letter and its number, counted
// from 1, such as "x7".  Several elements may have one name; looking it up finds the first.

#pragma once

#include "solver/model/matrix.h"

#include <string>
#include <unordered_map>
#include <vector>

namespace vnt {

class name_list {
  public:
    explicit name_list(char letter) : letter(letter) {}

    // Names to append; a null list, and null in place of one, leave them without a name.
    static std::vector<std::string> copies(int count, const char *const *names);
    void make_room(int count);
    void append(std::vector<std::string> &&fresh) noexcept; // into the room that was made
    std::string at(int i) const;
    bool named(int i) const { return !own[i].empty(); }
    int find(const std::string &name) const; // -1 if no element has the name
    void rename(int i, const char *name);
    void clear(); // takes all names away
    void keep(const std::vector<int> &place, int left);
    int size() const { return static_cast<int>(own.size()); }

  private:
    int find_made(const std::string &name) const;
    void note(int i) const;

    char letter;
    std::vector<std::string> own; // empty where there is none
    mutable bool indexed = false; // whether `places` exists; it is made at the first look-up
    mutable std::unordered_map<std::string, int> places;
};

} // namespace vnt
