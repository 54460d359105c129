// lpscanner.h: cuts the text of an LP file into tokens.
//
// Ownership: words point into the text, which outlives the scanner.
//
// Errors: a failure with VNTERR_FILE_FORMAT for a character that begins no token.

#pragma once

#include <string>
#include <string_view>

namespace vnt {

enum lp_token {
    TOKEN_END,
    TOKEN_NUMBER,
    TOKEN_NAME,
    TOKEN_RELATION, // L, G or E
    TOKEN_SIGN,
    TOKEN_COLON,
    TOKEN_SYMBOL, // one of [ ] ^ *, or > for an arrow
    TOKEN_SECTION
};

enum lp_section {
    SECTION_NONE,
    SECTION_MINIMIZE,
    SECTION_MAXIMIZE,
    SECTION_ROWS,
    SECTION_LAZY,
    SECTION_CUTS,
    SECTION_BOUNDS,
    SECTION_GENERAL,
    SECTION_BINARY,
    SECTION_SEMI,
    SECTION_SOS,
    SECTION_SOS1,
    SECTION_SOS2,
    SECTION_END
};

std::string small_letters(std::string_view word);
lp_section section_of(std::string_view word); // SECTION_NONE for any other word
bool infinity_word(std::string_view word);

// Can the name stand in an LP file, read here and by other programs?
bool suits_lp(const std::string &name);

// A section begins with its word at the beginning of a line.
class lp_scanner {
  public:
    explicit lp_scanner(std::string_view text) : rest(text) { next(); }

    lp_token token = TOKEN_END;
    std::string_view word; // of a name
    double number = 0;     // of a number; of a sign, 1 or -1
    char relation = 0;     // of a relation
    char symbol = 0;       // of a symbol
    lp_section section = SECTION_NONE;
    int line = 1; // of the token

    void next();
    bool followed_by(char c); // past blanks
    bool followed_by_two(char c);
    bool at(char c) const { return token == TOKEN_SYMBOL && symbol == c; }

  private:
    void skip();
    void take_symbol(char c, size_t length);
    void take_number();
    void take_relation();
    void take_two_words();
    void take_name();
    void take_section_rest();

    std::string_view rest;
    int lines = 1;
    bool fresh = true; // at the beginning of a line
};

} // namespace vnt
