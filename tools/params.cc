#include "tools/params.h"

#include "tools/exits.h"
#include "tools/number.h"

#include <fmt/format.h>
#include <nlohmann/json.hpp>

namespace vnt {

static constexpr size_t textspace = 4096; // for names and texts, as vanto.h says

static constexpr int numbers[] = {
#define INT(name, ...) VNT_PARAM_##name,
#define LONG INT
#define DOUBLE INT
#define STRING INT
#include "solver/calls/parameters.def"
};

// Numbers of one type: default, least and greatest value.
template <class T, class Info> static int bounds_read(Info info, VNTENVptr env, param_row *row)
{
    T standard{}, least{}, greatest{};
    int status = info(env, row->number, &standard, &least, &greatest);
    row->standard = fmt::format("{}", standard);
    row->least = fmt::format("{}", least);
    row->greatest = fmt::format("{}", greatest);
    return status;
}

static int values_read(const solver_library &solver, VNTENVptr env, param_row *row)
{
    switch (row->type) {
    case VNT_PARAMTYPE_INT: return bounds_read<int>(solver.VNTLinfointparam, env, row);
    case VNT_PARAMTYPE_LONG: return bounds_read<int64_t>(solver.VNTLinfolongparam, env, row);
    case VNT_PARAMTYPE_DOUBLE: return bounds_read<double>(solver.VNTLinfodblparam, env, row);
    case VNT_PARAMTYPE_STRING: break;
    default: return VNTERR_BAD_PARAMETER;
    }
    char text[textspace] = "";
    int status = solver.VNTLinfostrparam(env, row->number, text);
    row->standard = text;
    return status;
}

static int row_read(const solver_library &solver, VNTENVptr env, param_row *row)
{
    char name[textspace] = "";
    int status = solver.VNTLgetparamtype(env, row->number, &row->type);
    if (status == 0) status = solver.VNTLgetparamname(env, row->number, name);
    row->name = name;
    return status == 0 ? values_read(solver, env, row) : status;
}

std::vector<param_row> params_list(const solver_library &solver, VNTENVptr env)
{
    std::vector<param_row> rows;
    for (int number : numbers) {
        param_row row;
        row.number = number;
        int status = row_read(solver, env, &row);
        if (status == 0) rows.push_back(row);
        if (status == VNTERR_CONNECTION_LOST)
            throw failure{EXIT_CONNECTION, solver.vntclient_errortext()};
    }
    return rows;
}

static const char *type_word(int type)
{
    switch (type) {
    case VNT_PARAMTYPE_INT: return "int";
    case VNT_PARAMTYPE_LONG: return "long";
    case VNT_PARAMTYPE_DOUBLE: return "double";
    default: return "string";
    }
}

std::string params_table(const std::vector<param_row> &rows)
{
    static constexpr const char *form = "{:<27} {:>6} {:<6} {:<19} {}\n";
    std::string text = fmt::format(form, "NAME", "NUMBER", "TYPE", "DEFAULT", "RANGE");
    for (const param_row &row : rows)
        text += fmt::format(form, row.name, row.number, type_word(row.type), row.standard,
                            row.least.empty() ? "" : row.least + " to " + row.greatest);
    return text;
}

static nlohmann::ordered_json value_json(const param_row &row, const std::string &value)
{
    if (row.type == VNT_PARAMTYPE_STRING) return value.empty() ? nullptr : nlohmann::json(value);
    return nlohmann::ordered_json::parse(value, nullptr, false);
}

std::string params_json(const std::vector<param_row> &rows)
{
    auto list = nlohmann::ordered_json::array();
    for (const param_row &row : rows)
        list.push_back({{"name", row.name},
                        {"number", row.number},
                        {"type", type_word(row.type)},
                        {"default", value_json(row, row.standard)},
                        {"least", value_json(row, row.least)},
                        {"greatest", value_json(row, row.greatest)}});
    const auto replace = nlohmann::json::error_handler_t::replace;
    return list.dump(2, ' ', false, replace) + "\n";
}

// Finds a parameter by its name or its number.
static param_row find(const solver_library &solver, VNTENVptr env, const std::string &name)
{
    param_row row;
    bool known = number_parse(name, &row.number) ||
                 solver.VNTLgetparamnum(env, name.c_str(), &row.number) == 0;
    if (known && row_read(solver, env, &row) == 0) return row;
    throw failure{
        EXIT_USAGE,
        fmt::format("--param {}: there is no such parameter (--params lists them)", name)};
}

template <class T> static bool set(int (*call)(VNTENVptr, int, T), VNTENVptr env,
                                   const param_row &row, const std::string &text)
{
    T value;
    return number_parse(text, &value) && call(env, row.number, value) == 0;
}

static bool set_any(const solver_library &solver, VNTENVptr env, const param_row &row,
                    const std::string &value)
{
    switch (row.type) {
    case VNT_PARAMTYPE_INT: return set(solver.VNTLsetintparam, env, row, value);
    case VNT_PARAMTYPE_LONG: return set(solver.VNTLsetlongparam, env, row, value);
    case VNT_PARAMTYPE_DOUBLE: return set(solver.VNTLsetdblparam, env, row, value);
    default: return solver.VNTLsetstrparam(env, row.number, value.c_str()) == 0;
    }
}

void param_set(const solver_library &solver, VNTENVptr env, const std::string &name,
               const std::string &value)
{
    const param_row row = find(solver, env, name);
    if (set_any(solver, env, row, value)) return;
    const std::string range =
        row.least.empty() ? "" : fmt::format(" from {} to {}", row.least, row.greatest);
    throw failure{EXIT_USAGE, fmt::format("--param {}={}: {} takes a value of type {}{}", name,
                                          value, row.name, type_word(row.type), range)};
}

} // namespace vnt
