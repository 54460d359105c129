// Parameters of an environment.

#include "solver/calls/calls.h"

using namespace vnt;

static const parameter &find_typed(int number, int type)
{
    const parameter &p = parameter_find(number);
    require(p.type == type, VNTERR_PARAMETER_TYPE);
    return p;
}

static void put_fixed(const std::string &text, char *where)
{
    if (where != nullptr) memcpy(where, text.c_str(), text.size() + 1);
}

int VNTLsetdefaults(VNTENVptr env)
{
    return with_environment(env, [](vntenv &e) { e.parameters = parameter_set(); });
}

int VNTLsetintparam(VNTENVptr env, int whichparam, int newvalue)
{
    return with_environment(env, [&](vntenv &e) { e.parameters.set_int(whichparam, newvalue); });
}

int VNTLsetlongparam(VNTENVptr env, int whichparam, int64_t newvalue)
{
    return with_environment(env, [&](vntenv &e) { e.parameters.set_long(whichparam, newvalue); });
}

int VNTLsetdblparam(VNTENVptr env, int whichparam, double newvalue)
{
    return with_environment(env, [&](vntenv &e) { e.parameters.set_double(whichparam, newvalue); });
}

int VNTLsetstrparam(VNTENVptr env, int whichparam, const char *newvalue_str)
{
    return with_environment(env,
                            [&](vntenv &e) { e.parameters.set_string(whichparam, newvalue_str); });
}

int VNTLgetintparam(VNTENVptr env, int whichparam, int *value_p)
{
    return with_environment(env,
                            [&](vntenv &e) { put(value_p, e.parameters.get_int(whichparam)); });
}

int VNTLgetlongparam(VNTENVptr env, int whichparam, int64_t *value_p)
{
    return with_environment(env,
                            [&](vntenv &e) { put(value_p, e.parameters.get_long(whichparam)); });
}

int VNTLgetdblparam(VNTENVptr env, int whichparam, double *value_p)
{
    return with_environment(env,
                            [&](vntenv &e) { put(value_p, e.parameters.get_double(whichparam)); });
}

int VNTLgetstrparam(VNTENVptr env, int whichparam, char *value_str)
{
    return with_environment(
        env, [&](vntenv &e) { put_fixed(e.parameters.get_string(whichparam), value_str); });
}

// Gives the default and the bounds of a parameter of a type; `part` holds numbers of that type.
template <class value, class number>
static int give_info(VNTENVptr env, int whichparam, int type, number parameter_number::*part,
                     value *defvalue_p, value *minvalue_p, value *maxvalue_p)
{
    return with_environment(env, [&](vntenv &) {
        const parameter &p = find_typed(whichparam, type);
        put(defvalue_p, static_cast<value>(p.standard.*part));
        put(minvalue_p, static_cast<value>(p.least.*part));
        put(maxvalue_p, static_cast<value>(p.greatest.*part));
    });
}

int VNTLinfointparam(VNTENVptr env, int whichparam, int *defvalue_p, int *minvalue_p,
                     int *maxvalue_p)
{
    return give_info(env, whichparam, VNT_PARAMTYPE_INT, &parameter_number::integer, defvalue_p,
                     minvalue_p, maxvalue_p);
}

int VNTLinfolongparam(VNTENVptr env, int whichparam, int64_t *defvalue_p, int64_t *minvalue_p,
                      int64_t *maxvalue_p)
{
    return give_info(env, whichparam, VNT_PARAMTYPE_LONG, &parameter_number::integer, defvalue_p,
                     minvalue_p, maxvalue_p);
}

int VNTLinfodblparam(VNTENVptr env, int whichparam, double *defvalue_p, double *minvalue_p,
                     double *maxvalue_p)
{
    return give_info(env, whichparam, VNT_PARAMTYPE_DOUBLE, &parameter_number::real, defvalue_p,
                     minvalue_p, maxvalue_p);
}

int VNTLinfostrparam(VNTENVptr env, int whichparam, char *defvalue_str)
{
    return with_environment(env, [&](vntenv &) {
        put_fixed(find_typed(whichparam, VNT_PARAMTYPE_STRING).text, defvalue_str);
    });
}

int VNTLgetparamname(VNTENVptr env, int whichparam, char *name_str)
{
    return with_environment(
        env, [&](vntenv &) { put_fixed(parameter_find(whichparam).name, name_str); });
}

int VNTLgetparamhiername(VNTENVptr env, int whichparam, char *name_str)
{
    return with_environment(
        env, [&](vntenv &) { put_fixed(parameter_find(whichparam).text_name, name_str); });
}

int VNTLgetparamnum(VNTENVptr env, const char *name_str, int *whichparam_p)
{
    return with_environment(env, [&](vntenv &) {
        require_there(name_str);
        put(whichparam_p, parameter_find(name_str).number);
    });
}

int VNTLgetparamtype(VNTENVptr env, int whichparam, int *paramtype)
{
    return with_environment(env,
                            [&](vntenv &) { put(paramtype, parameter_find(whichparam).type); });
}

// No parameter's text is in another encoding than the program's.
int VNTLEencodedstrparam(VNTENVptr env, int paramnum, int *isencoded_p)
{
    return with_environment(env, [&](vntenv &) {
        find_typed(paramnum, VNT_PARAMTYPE_STRING);
        put(isencoded_p, 0);
    });
}

int VNTLgetchgparam(VNTENVptr env, int *cnt_p, int *paramnum, int pspace, int *surplus_p)
{
    return with_environment(env, [&](vntenv &e) {
        std::vector<int> changed;
        for (const parameter &p : parameter_list()) {
            if (e.parameters.changed(p)) changed.push_back(p.number);
        }
        put(cnt_p, static_cast<int>(changed.size()));
        put_list(changed, paramnum, pspace, surplus_p);
    });
}
