#include "docs/reference/manual.h"

#include "docs/reference/lists.h"
#include "docs/reference/rows.h"
#include "test/folders.h"
#include "test/has.h"

#include <gtest/gtest.h>
#include <regex>
#include <set>

namespace vnt {

static const header &solver(void)
{
    static const header h = header_read(source_path("include/vanto.h"));
    return h;
}

static const manual_context context = {"vanto.h",
                                       "vanto",
                                       "solver",
                                       "1.2",
                                       {{"VNTLgetcols", "works"}, {"VNTLpivot", "not supported"}}};

static std::string page(const std::string &name)
{
    page_map pages = manual_pages(solver(), context);
    return pages[name];
}

static std::vector<header_function> all_functions(void)
{
    std::vector<header_function> all;
    for (const header_group &g : solver().groups)
        all.insert(all.end(), g.functions.begin(), g.functions.end());
    return all;
}

static bool names_parameter(const header_function &f, const std::string &name)
{
    for (const header_parameter &p : f.parameters)
        if (p.name == name) return true;
    return false;
}

// A field of the messages that is called otherwise than the parameter would show up in its length.
TEST(Rows, MeasureArraysByOtherParameters)
{
    static const std::regex word("[A-Za-z_]+");
    // How the counts of the solver begin, and what stands where there is no count.
    static const std::set<std::string> counted = {
        "columns",   "rows",    "sets",      "quadratic", "MIP",  "indicator",
        "piecewise", "filters", "solutions", "nodes",     "arcs", "as"};
    for (const header_function &f : all_functions()) {
        for (const parameter_row &r : parameter_rows(f)) {
            EXPECT_FALSE(r.name.empty() || r.type.empty()) << f.name;
            std::smatch first;
            if (!std::regex_search(r.length, first, word)) continue;
            EXPECT_TRUE(names_parameter(f, first[0]) || counted.count(first[0]) != 0)
                << f.name << ": " << r.name << " has " << r.length;
        }
    }
}

static std::string rows_of(const char *function)
{
    std::string all;
    for (const header_function &f : all_functions()) {
        if (f.name != function) continue;
        for (const parameter_row &r : parameter_rows(f))
            all += r.name + "|" + r.direction + "|" + r.type + "|" + r.length + "\n";
    }
    return all;
}

TEST(Rows, TellDirectionTypeAndLength)
{
    EXPECT_EQ(rows_of("VNTLgetcolname"),
              "env|in|VNTENVptr|\nlp|in|VNTLPptr|\nname|out|char *|end - begin + 1\n"
              "namestore|out|char|storespace\nstorespace|in|int64_t|\n"
              "surplus_p|out|int64_t|\nbegin|in|int|\nend|in|int|\n");
    EXPECT_EQ(rows_of("VNTLfreeprob"), "env|in|VNTENVptr|\nlp|in, out|VNTLPptr *|\n");
    EXPECT_TRUE(has(rows_of("VNTLNETextract"), "colmap|out|int|columns + rows\n"));
    EXPECT_EQ(rows_of("VNTLopenVANTO"), "status_p|out|int *|\n") << "has no row";
}

static std::string errors_of(const char *function, bool supported = true)
{
    std::string all;
    for (const header_function &f : all_functions()) {
        if (f.name != function) continue;
        for (const std::string &e : error_names(f, supported))
            all += e.substr(sizeof "VNTERR") + " ";
    }
    return all;
}

TEST(Rows, TellWhatTheParametersCanLeadTo)
{
    EXPECT_EQ(errors_of("VNTLgetcols"), "NO_ENVIRONMENT NO_PROBLEM SPACE_TOO_SMALL INDEX_RANGE ");
    EXPECT_EQ(errors_of("VNTLwriteprob"), "NO_ENVIRONMENT NO_PROBLEM FILE_CREATE ");
    EXPECT_EQ(errors_of("VNTEordread"), "NO_ENVIRONMENT FILE_OPEN FILE_FORMAT ");
    EXPECT_EQ(errors_of("VNTLgetparamnum"), "NO_ENVIRONMENT BAD_PARAMETER ");
    EXPECT_EQ(errors_of("VNTLfreeprob"), "NO_ENVIRONMENT NO_PROBLEM ");
    EXPECT_EQ(errors_of("VNTLpivot", false), "NO_ENVIRONMENT NO_PROBLEM NOT_SUPPORTED ");
    EXPECT_EQ(errors_of("VNTLgetnumcols"), "") << "returns a count";
}

TEST(ManualPage, SaysWhatTheHeaderAndTheRowSay)
{
    std::string text = page("VNTLgetcols.3");
    for (const char *part :
         {".TH VNTLgetcols 3 \"\" \"vanto 1.2\"", "VNTLgetcols \\- stores the coefficients",
          ".B \"int VNTLgetcols(VNTENVptr env, VNTLPptr lp, int64_t *nzcnt_p,",
          ".I cmatind\nout: int, elements: cmatspace\n", "0, or one of VNTERR_*.",
          ".BR VNTLgetrows (3)"})
        EXPECT_TRUE(has(text, part));
    EXPECT_FALSE(has(text, "does not support"));
    EXPECT_TRUE(has(page("VNTLpivot.3"), "The open solver does not support"));
}

TEST(ManualPage, KeepsControlLinesOfTextsApart)
{
    for (const auto &[name, text] : manual_pages(solver(), context)) {
        std::istringstream lines(text);
        for (std::string line; std::getline(lines, line);) {
            bool control = line[0] == '.' || line[0] == '\'';
            EXPECT_TRUE(!control || std::regex_search(line, std::regex("^\\.([A-Z]|nf$|fi$)")))
                << name << line;
        }
    }
}

TEST(ManualPage, OfTheHeaderNamesAllStatusesAndFunctions)
{
    std::string text = page("vanto.3");
    EXPECT_TRUE(has(text, ".BR VNTERR_NO_MEMORY \" = 1001\""));
    EXPECT_TRUE(has(text, "null, closed or foreign environment"));
    EXPECT_TRUE(has(text, ".BR VNT_INFINITY \" = 1e20\""));
    for (const header_group &g : solver().groups)
        for (const header_function &f : g.functions)
            EXPECT_TRUE(has(text, ".BR " + f.name + " (3)")) << f.name;
}

TEST(SitePages, ListEveryParameter)
{
    std::string page = parameters_page(solver());
    EXPECT_TRUE(has(page, "| `CUTS` | `mip.cuts` | 1131 | int | 1 | 0 to 1 | 0 off, 1 on |"));
    for (const header_enum &e : solver().enums) {
        for (const header_constant &c : e.constants) {
            if (!c.name.starts_with("VNT_PARAM_")) continue;
            EXPECT_TRUE(has(page, "| " + c.value + " |")) << c.name;
        }
    }
}

} // namespace vnt
