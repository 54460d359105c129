// vanto.h: the callable library of the solver, for C and C++.
//
// A program opens an environment, creates problems in it, fills and solves them and asks for the
// answers.  The same program runs in its own process, linked to libvanto.so, or drives a worker
// process on any host, linked to libvantoclient.so or with that library preloaded.
//
// Ownership: objects are made by the open, create and clone calls and are freed by the caller.
// Arrays and strings handed in are copied before the call returns; outputs land in the caller's
// buffers.  An output pointer may be null where the caller does not want the value.
//
// Threads: one thread at a time uses an environment and its problems.  Different environments may
// be used from different threads.
//
// Errors: a call returns 0 or one of VNTERR_*, unless it is said to return something else; such a
// call returns 0, or null, where it fails.  What a failing call was to write is unspecified,
// surplus_p excepted.
//
// Names that mean the same in every function:
//
//     begin, end   indices from 0, both inclusive; an end before the beginning asks for nothing
//     ...beg       entries beg[k] to beg[k + 1] - 1 of the arrays beside it belong to line k, those
//                  of the last line reach to the number of entries
//     surplus_p    becomes what is left of the space offered.  Where that is too small the call
//                  returns VNTERR_SPACE_TOO_SMALL, and *surplus_p is what lacks, taken negative
//     delstat      1 marks what goes; each mark becomes the new index, -1 for what went
//     contents     the bytes of the file to read, `length` of them; where it is null the solver
//                  opens the file itself

#ifndef VANTO_H
#define VANTO_H

#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

typedef struct vntenv *VNTENVptr;         // an environment
typedef struct vntlp *VNTLPptr;           // a problem of an environment
typedef struct vntnet *VNTNETptr;         // a network problem of an environment
typedef struct vntchannel *VNTCHANNELptr; // a message channel of an environment

// Statuses of calls.
enum {
    VNTERR_NO_MEMORY = 1001,
    VNTERR_NO_ENVIRONMENT = 1002,  // null, closed or foreign environment
    VNTERR_BAD_ARGUMENT = 1003,    // a value outside its documented range
    VNTERR_NULL_POINTER = 1004,    // an argument that must be there is null
    VNTERR_NO_PROBLEM = 1005,      // null, freed or foreign problem or network
    VNTERR_NOT_SUPPORTED = 1006,   // this solver does not do that
    VNTERR_SPACE_TOO_SMALL = 1007, // the space offered does not hold the output
    VNTERR_BAD_PARAMETER = 1008,   // no parameter has this number or name
    VNTERR_PARAMETER_VALUE = 1009, // the value is outside the parameter's range
    VNTERR_PARAMETER_TYPE = 1010,  // the parameter holds another type
    VNTERR_NOT_MIP = 1011,         // the problem has no discrete part
    VNTERR_NO_SOLUTION = 1012,     // no solution of this kind is there
    VNTERR_NO_BASIS = 1013,
    VNTERR_NAME_NOT_FOUND = 1014,
    VNTERR_SOLVING = 1015,         // not while a solve of this environment runs
    VNTERR_NOT_LP = 1016,          // the problem is not a continuous linear one
    VNTERR_WRONG_TYPE = 1017,      // the problem's type does not have this
    VNTERR_ENGINE = 1018,          // the solving engine failed
    VNTERR_NOT_CONVEX = 1019,      // the quadratic objective curves the wrong way
    VNTERR_INDEX_RANGE = 1200,     // a row, column or other index out of range
    VNTERR_BAD_SENSE = 1201,       // a row sense other than L, E, G, R
    VNTERR_BAD_BOUND = 1202,       // a bound indicator other than L, U, B
    VNTERR_BAD_CTYPE = 1203,       // a column type other than C, B, I, S, N
    VNTERR_DUPLICATE_ENTRY = 1204, // the same row and column twice
    VNTERR_BAD_BASIS = 1205,       // a basis of the wrong size or status
    VNTERR_BAD_NUMBER = 1206,      // not a number, or infinite where it must not be
    VNTERR_THREAD = 1234,          // a thread could not be made
    VNTERR_FILE_CREATE = 1422,     // a file could not be created
    VNTERR_FILE_OPEN = 1423,       // a file could not be opened
    VNTERR_FILE_IO = 1426,         // reading or writing failed, or the connection broke
    VNTERR_FILE_FORMAT = 1430,     // the contents are malformed; the error channel says where
    VNTERR_FILE_TYPE = 1431,       // unknown file type
    VNTERR_FILE_FEATURE = 1432,    // well formed, with something that this solver does not do
    VNTERR_LOCKS = 1809,           // a lock or timer could not be made
    VNTERR_UNKNOWN_CALL = 1811,    // the worker, or its solver, does not know the call
    VNTERR_REMOTE = 1813,          // the remote end failed
    VNTERR_LIBRARY = 1814,         // a library could not be loaded
    VNTERR_USER_FUNCTION = 1815,   // a user function could not be found
    VNTERR_CONNECTION_LOST = 1816  // the connection to the worker is gone for good
};

// How a solve ended, from VNTLgetstat.
enum {
    VNT_STAT_NONE = 0, // not solved since the last change
    VNT_STAT_OPTIMAL = 1,
    VNT_STAT_INFEASIBLE = 2,
    VNT_STAT_UNBOUNDED = 3,
    VNT_STAT_INFEASIBLE_OR_UNBOUNDED = 4,
    VNT_STAT_ITERATION_LIMIT = 5,
    VNT_STAT_TIME_LIMIT = 6,
    VNT_STAT_NODE_LIMIT = 7,
    VNT_STAT_SOLUTION_LIMIT = 8,
    VNT_STAT_STOPPED = 9,            // by the caller
    VNT_STAT_OPTIMAL_TOLERANCE = 10, // within the gap that the parameters allow
    VNT_STAT_NUMERICAL = 11,         // numerical trouble
    VNT_STAT_CUTOFF = 12,            // nothing is better than the cutoff
    VNT_STAT_RELAXED = 13,           // the least relaxation
    VNT_STAT_RELAXED_OPTIMAL = 14    // and the best objective within it
};

// Constraints that groups are made of: a row, a bound of a column, a special ordered set, an
// indicator constraint.
enum {
    VNT_CONSTRAINT_ROW = 'R',
    VNT_CONSTRAINT_LOWER = 'L',
    VNT_CONSTRAINT_UPPER = 'U',
    VNT_CONSTRAINT_SET = 'S',
    VNT_CONSTRAINT_INDICATOR = 'I'
};

// How the search for a conflict ended.
enum {
    VNT_CONFSTAT_FEASIBLE = 1,   // there is none
    VNT_CONFSTAT_MINIMAL = 2,    // without any one member the rest has a solution
    VNT_CONFSTAT_NOT_MINIMAL = 3 // ended early, or undecided: some may not be needed
};

// What a group or row is in a conflict; of a column VNT_CONFLICT_LOWER or _UPPER or both are added.
enum {
    VNT_CONFLICT_EXCLUDED = 0,
    VNT_CONFLICT_POSSIBLE = 1, // not decided
    VNT_CONFLICT_MEMBER = 2,
    VNT_CONFLICT_LOWER = 4,
    VNT_CONFLICT_UPPER = 8
};

// What VNT_PARAM_FEASOPT_MODE makes small: the sum of the violations, each divided by its
// preference, or the number of constraints or groups, each counted as 1 / preference.  Then the
// objective may be optimised among the points that are as good.
enum {
    VNT_FEASOPT_SUM = 0,
    VNT_FEASOPT_SUM_THEN_OBJECTIVE = 1,
    VNT_FEASOPT_NUMBER = 2,
    VNT_FEASOPT_NUMBER_THEN_OBJECTIVE = 3
};

// Problem types.
enum {
    VNT_PROB_LP = 0,
    VNT_PROB_MIP = 1,
    VNT_PROB_QP = 2,
    VNT_PROB_MIQP = 3,
    VNT_PROB_QCP = 4,
    VNT_PROB_MIQCP = 5,
    VNT_PROB_FIXED_MIP = 6 // a MIP whose discrete columns are fixed at a solution
};

// What an annotation stands on.
enum {
    VNT_ANNOTATION_OBJECTIVE = 0, // there is one, with index 0
    VNT_ANNOTATION_COLUMN = 1,
    VNT_ANNOTATION_ROW = 2,
    VNT_ANNOTATION_SET = 3,
    VNT_ANNOTATION_INDICATOR = 4
};

// The filters of the solution pool.
enum { VNT_FILTER_DIVERSITY = 1, VNT_FILTER_RANGE = 2 };

// The sense of the objective.
enum { VNT_MIN = 1, VNT_MAX = -1 };

// What a solution is, from VNTLsolninfo.
enum {
    VNT_SOLUTION_NONE = 0,
    VNT_SOLUTION_BASIC = 1,
    VNT_SOLUTION_NONBASIC = 2,
    VNT_SOLUTION_PRIMAL = 3
};

// The algorithm that made a solution.
enum {
    VNT_METHOD_NONE = 0,
    VNT_METHOD_PRIMAL = 1,
    VNT_METHOD_DUAL = 2,
    VNT_METHOD_BARRIER = 3,
    VNT_METHOD_MIP = 4,
    VNT_METHOD_NETWORK = 5
};

// Qualities of a solution: the greatest magnitude among values of one kind.  Plus VNT_QUALITY_SUM
// it is the sum of their magnitudes, plus VNT_QUALITY_WHERE, which is an int, the place of the
// greatest.  Primal infeasibilities are those of the rows and then of the columns.
enum {
    VNT_QUALITY_WHERE = 1,
    VNT_QUALITY_SUM = 2,
    VNT_QUALITY_MAX_PRIMAL_INFEASIBILITY = 4,
    VNT_QUALITY_MAX_DUAL_INFEASIBILITY = 8,
    VNT_QUALITY_MAX_INTEGER_INFEASIBILITY = 12,
    VNT_QUALITY_MAX_X = 16,
    VNT_QUALITY_MAX_SLACK = 20,
    VNT_QUALITY_MAX_PI = 24,
    VNT_QUALITY_MAX_REDUCED_COST = 28
};

// The place of a column or row in a basis.
enum { VNT_BASIS_LOWER = 0, VNT_BASIS_BASIC = 1, VNT_BASIS_UPPER = 2, VNT_BASIS_FREE = 3 };

// Bounds of this magnitude or more are infinite; costs and coefficients must be below it.
#define VNT_INFINITY 1e20

// The types of parameters, from VNTLgetparamtype.
enum {
    VNT_PARAMTYPE_NONE = 0,
    VNT_PARAMTYPE_INT = 1,
    VNT_PARAMTYPE_DOUBLE = 2,
    VNT_PARAMTYPE_STRING = 3,
    VNT_PARAMTYPE_LONG = 4
};

// Parameters.  VNTLinfointparam and its siblings tell default and range of each.
enum {
    VNT_PARAM_MESSAGES = 1035,        // int: 1 sends messages to the channels, 0 keeps silent
    VNT_PARAM_THREADS = 1067,         // int: threads of a solve, 0 leaves it to the solver
    VNT_PARAM_TIME_LIMIT = 1101,      // double: seconds
    VNT_PARAM_ITERATION_LIMIT = 1102, // long: simplex iterations
    VNT_PARAM_NODE_LIMIT = 1103,      // long: nodes of the search
    VNT_PARAM_SOLUTION_LIMIT = 1104,  // long: incumbents
    VNT_PARAM_FEASIBILITY = 1110,     // double: primal feasibility tolerance
    VNT_PARAM_OPTIMALITY = 1111,      // double: dual feasibility tolerance
    VNT_PARAM_INTEGRALITY = 1112,     // double: integrality tolerance
    VNT_PARAM_REL_GAP = 1120,         // double: relative gap at which a search ends
    VNT_PARAM_ABS_GAP = 1121,         // double: absolute gap at which a search ends
    VNT_PARAM_CUTOFF = 1122,          // double: solutions no better than this do not count
    VNT_PARAM_PRESOLVE = 1130,        // int: 0 off, 1 on
    VNT_PARAM_CUTS = 1131,            // int: 0 off, 1 on
    VNT_PARAM_HEURISTICS = 1132,      // int: 0 off, 1 on
    VNT_PARAM_SEED = 1133,            // int: seed of random choices
    VNT_PARAM_LOG_LEVEL = 1134,       // int: 0 none, 1 results, 2 progress, 3 details
    VNT_PARAM_WORK_DIR = 1140,        // string: where temporary files go
    VNT_PARAM_FEASOPT_MODE = 1150     // int: VNT_FEASOPT_*
};

// What a running solve tells of itself, filled by VNTEgetasyncmipprogress.
typedef struct vntmipprogress {
    int64_t nodes;      // nodes solved
    int32_t phase;      // 0 presolve or relaxation, 1 search
    double bound;       // best bound known
    int64_t iterations; // simplex iterations
    double incumbent;   // objective of the incumbent; the reference objective while there is none
    double gap;         // relative gap, 1e75 without an incumbent
    int32_t solutions;  // incumbents found so far
    int64_t solcount;   // values stored at sol; 0 when sol holds none
    double *sol;        // room for sollen values, one per column
} vntmipprogress;

#if defined(__GNUC__)
#pragma GCC visibility push(default)
#endif

// --- Environments ---------------------------------------------------------------------------

// Opens an environment and returns it.  Returns null on failure, and *status_p says why.
VNTENVptr VNTLopenVANTO(int *status_p);

// Closes an environment with all its problems and networks.  *env becomes null.
int VNTLcloseVANTO(VNTENVptr *env);

// Stores the version of the solver: 10000 times its first number, plus 100 times its second, plus
// its third.
int VNTLversionnumber(VNTENVptr env, int *version_p);

// Stores how many zero bytes end a text of the solver: 1, 2 or 4.
int VNTLEgetnulbytes(VNTENVptr env, int *nulbytes_p);

// Stores the number of processors of the host that the solver runs on.
int VNTLgetnumcores(VNTENVptr env, int *numcores_p);

// Returns how many threads a solve may use at most.
int VNTLEgetmaxthreads(VNTENVptr env);

// Stores a time stamp in seconds.  The difference of two is the time that passed between them.
int VNTLgettime(VNTENVptr env, double *timestamp_p);

// Stores a time stamp in deterministic ticks: the work that solves of the environment have done so
// far.
int VNTLgetdettime(VNTENVptr env, double *dettimestamp_p);

// --- Message channels -----------------------------------------------------------------------
//
// A channel passes each text of the solver, ended by a zero, to its destinations, on the thread of
// the call that produced it.  VNT_PARAM_MESSAGES silences all channels.  The solver writes the log
// file: that of a worker lies on the worker's host.

// Stores the environment's channels for results, warnings, errors and the log.  They live as long
// as the environment.
int VNTLgetchannels(VNTENVptr env, VNTCHANNELptr *results_p, VNTCHANNELptr *warning_p,
                    VNTCHANNELptr *error_p, VNTCHANNELptr *log_p);

// Adds a destination to a channel: msgfunc is called with handle and each text.
int VNTLaddfuncdest(VNTENVptr env, VNTCHANNELptr channel, void *handle,
                    void (*msgfunc)(void *handle, const char *text));

// Sets the file that gets the texts of all channels.  A mode that begins with "a" appends, any
// other replaces the file.  A null filename ends the logging.
int VNTLsetlogfilename(VNTENVptr env, const char *filename, const char *mode);

// Stores the name of the log file, an empty text without one.
int VNTLgetlogfilename(VNTENVptr env, char *buf_str, int64_t bufspace, int64_t *surplus_p);

// --- Steering a running solve ---------------------------------------------------------------
//
// Callbacks run on the solving thread.

// Sets the flag that stops the solves of the environment while it is not 0.  Any thread or signal
// handler may set it.  Null removes the flag.
int VNTLEsetasyncterminate(VNTENVptr env, volatile int *terminate_p);

// Sets the function that a running solve calls again and again.  A result other than 0 stops the
// solve.  A null func removes it.
int VNTEsetterminatefunc(VNTENVptr env, int (*func)(VNTENVptr env, void *data), void *data);

// Sets the function in which a running solve pauses.  A result of 0 lets the solve go on, 13 stops
// it.  A null func removes it.
int VNTEsetpausecallbackfunc(VNTENVptr env,
                             int (*func)(VNTENVptr env, void *cbdata, uint64_t progress,
                                         void *data),
                             void *data);

// Stores how far the solve has come, from within the pause callback.  A solver of this process
// tells refobj as the incumbent's objective while there is none.  Values of the incumbent are
// stored if sollen suffices for all columns.
int VNTEgetasyncmipprogress(VNTENVptr env, void *cbdata, int sollen, vntmipprogress *progress,
                            double refobj);

// Gives the solve the objective value of a solution found elsewhere, from within the pause
// callback. objval is that value times sense, VNT_MIN or VNT_MAX.  A solver may refuse a magnitude
// of bound or more.
int VNTEasyncprogressinject(VNTENVptr env, void *cbdata, double objval, double sense, double bound);

// --- Parameters -----------------------------------------------------------------------------
//
// whichparam is VNT_PARAM_*.  Texts and names need room for 4096 bytes, their terminator included.
// Names are those of the constants, with or without VNT_PARAM_, or those of parameter files; case
// does not matter.

// Sets every parameter to its default.
int VNTLsetdefaults(VNTENVptr env);

// Sets a parameter of type int.
int VNTLsetintparam(VNTENVptr env, int whichparam, int newvalue);

// Sets a parameter of type long.
int VNTLsetlongparam(VNTENVptr env, int whichparam, int64_t newvalue);

// Sets a parameter of type double.
int VNTLsetdblparam(VNTENVptr env, int whichparam, double newvalue);

// Sets a parameter of type string.  The text is shorter than 4096 bytes and has no line break.
int VNTLsetstrparam(VNTENVptr env, int whichparam, const char *newvalue_str);

// Stores the value of a parameter of type int.
int VNTLgetintparam(VNTENVptr env, int whichparam, int *value_p);

// Stores the value of a parameter of type long.
int VNTLgetlongparam(VNTENVptr env, int whichparam, int64_t *value_p);

// Stores the value of a parameter of type double.
int VNTLgetdblparam(VNTENVptr env, int whichparam, double *value_p);

// Stores the value of a parameter of type string.
int VNTLgetstrparam(VNTENVptr env, int whichparam, char *value_str);

// Stores default, least and greatest value of a parameter of type int.
int VNTLinfointparam(VNTENVptr env, int whichparam, int *defvalue_p, int *minvalue_p,
                     int *maxvalue_p);

// Stores default, least and greatest value of a parameter of type long.
int VNTLinfolongparam(VNTENVptr env, int whichparam, int64_t *defvalue_p, int64_t *minvalue_p,
                      int64_t *maxvalue_p);

// Stores default, least and greatest value of a parameter of type double.
int VNTLinfodblparam(VNTENVptr env, int whichparam, double *defvalue_p, double *minvalue_p,
                     double *maxvalue_p);

// Stores the default of a parameter of type string.
int VNTLinfostrparam(VNTENVptr env, int whichparam, char *defvalue_str);

// Stores the name of the parameter's constant.
int VNTLgetparamname(VNTENVptr env, int whichparam, char *name_str);

// Stores the name by which parameter files know the parameter.
int VNTLgetparamhiername(VNTENVptr env, int whichparam, char *name_str);

// Stores the number of the parameter of that name.
int VNTLgetparamnum(VNTENVptr env, const char *name_str, int *whichparam_p);

// Stores the type of the parameter, VNT_PARAMTYPE_*.
int VNTLgetparamtype(VNTENVptr env, int whichparam, int *paramtype);

// Stores the numbers of the parameters that differ from their defaults, ascending.
int VNTLgetchgparam(VNTENVptr env, int *cnt_p, int *paramnum, int pspace, int *surplus_p);

// Stores 1 if the text of a string parameter is in an encoding of its own, else 0.
int VNTLEencodedstrparam(VNTENVptr env, int paramnum, int *isencoded_p);

// Fixes a parameter at its value, so that it cannot be set any more.
int VNTLEfixparam(VNTENVptr env, int paramnum);

// Reads a parameter file: a name and a value a line, # begins a comment.  After an error all
// parameters are as they were.
int VNTEreadcopyparam(VNTENVptr env, const char *filename_str, const char *contents,
                      int64_t length);

// Writes a parameter file of all that differ from their defaults.
int VNTLwriteparam(VNTENVptr env, const char *filename_str);

// Looks for parameters that solve the problem faster, with those of the three lists held at the
// values given, and sets them.  *tunestat_p says how the search ended.
int VNTLtuneparam(VNTENVptr env, VNTLPptr lp, int intcnt, const int *intnum, const int *intval,
                  int dblcnt, const int *dblnum, const double *dblval, int strcnt,
                  const int *strnum, const char *const *strval, int *tunestat_p);

// --- Problems -------------------------------------------------------------------------------
//
// Creating, copying and freeing them.  Column-wise data: matbeg and matcnt have one element per
// column, matind and matval reach as far as these say.  Null arrays stand for objectives 0,
// right-hand sides 0, senses E, ranges 0, lower bounds 0, upper bounds VNT_INFINITY and names that
// the solver makes.

// Creates an empty problem and returns it, null on failure; *status_p then says why.
VNTLPptr VNTLcreateprob(VNTENVptr env, int *status_p, const char *probname_str);

// Creates a copy of a problem and returns it, null on failure; *status_p then says why.
VNTLPptr VNTLcloneprob(VNTENVptr env, VNTLPptr lp, int *status_p);

// Frees a problem.  *lp becomes null.
int VNTLfreeprob(VNTENVptr env, VNTLPptr *lp);

// Replaces all that the problem holds, apart from its name, by a linear problem with names.
int VNTLcopylpwnames(VNTENVptr env, VNTLPptr lp, int numcols, int numrows, int objsense,
                     const double *objective, const double *rhs, const char *sense,
                     const int64_t *matbeg, const int *matcnt, const int *matind,
                     const double *matval, const double *lb, const double *ub, const double *rngval,
                     const char *const *colname, const char *const *rowname);

// Replaces all that the problem holds, apart from its name, by a linear problem.
int VNTLcopylp(VNTENVptr env, VNTLPptr lp, int numcols, int numrows, int objsense,
               const double *objective, const double *rhs, const char *sense, const int64_t *matbeg,
               const int *matcnt, const int *matind, const double *matval, const double *lb,
               const double *ub, const double *rngval);

// Completes changes of the problem that the solver has put off.
int VNTLcompletelp(VNTENVptr env, VNTLPptr lp);

// Stores the name of the problem.
int VNTLgetprobname(VNTENVptr env, VNTLPptr lp, char *buf_str, int64_t bufspace,
                    int64_t *surplus_p);

// Renames the problem.  Null takes its name away.
int VNTLchgprobname(VNTENVptr env, VNTLPptr lp, const char *probname);

// Returns the type of the problem, VNT_PROB_*, or -1 where there is none.
int VNTLgetprobtype(VNTENVptr env, VNTLPptr lp);

// Changes the type of the problem to VNT_PROB_*.  VNT_PROB_FIXED_MIP fixes the discrete columns of
// a MIP at the last solution, until the type changes again.  VNT_PROB_LP and VNT_PROB_MIP drop the
// quadratic objective.
int VNTLchgprobtype(VNTENVptr env, VNTLPptr lp, int type);

// Changes the type as VNTLchgprobtype does, with solution soln of the pool in place of the last
// one; a negative soln means the last one.
int VNTLchgprobtypesolnpool(VNTENVptr env, VNTLPptr lp, int type, int soln);

// --- Adding and deleting rows and columns ---------------------------------------------------
//
// A null array stands for the values that "Problems" says, a null name list for names that the
// solver makes. sense is one of L, E, G, R; a row of sense R lies between rhs and rhs + rngval.
// xctype is one of C, B, I, S, N: continuous, binary, integer, semi-continuous, semi-integer.

// Adds rcnt rows without coefficients.
int VNTLnewrows(VNTENVptr env, VNTLPptr lp, int rcnt, const double *rhs, const char *sense,
                const double *rngval, const char *const *rowname);

// Adds ccnt columns and then rcnt rows with nzcnt coefficients, which may stand in the new columns.
int VNTLaddrows(VNTENVptr env, VNTLPptr lp, int ccnt, int rcnt, int64_t nzcnt, const double *rhs,
                const char *sense, const int64_t *rmatbeg, const int *rmatind,
                const double *rmatval, const char *const *colname, const char *const *rowname);

// Adds ccnt columns without coefficients.  A null ub gives binary columns the upper bound 1.
int VNTLnewcols(VNTENVptr env, VNTLPptr lp, int ccnt, const double *obj, const double *lb,
                const double *ub, const char *xctype, const char *const *colname);

// Adds ccnt continuous columns with nzcnt coefficients.
int VNTLaddcols(VNTENVptr env, VNTLPptr lp, int ccnt, int64_t nzcnt, const double *obj,
                const int64_t *cmatbeg, const int *cmatind, const double *cmatval, const double *lb,
                const double *ub, const char *const *colname);

// Deletes rows begin to end.
int VNTLdelrows(VNTENVptr env, VNTLPptr lp, int begin, int end);

// Deletes the rows that are marked in delstat.
int VNTLdelsetrows(VNTENVptr env, VNTLPptr lp, int *delstat);

// Deletes columns begin to end.
int VNTLdelcols(VNTENVptr env, VNTLPptr lp, int begin, int end);

// Deletes the columns that are marked in delstat.
int VNTLdelsetcols(VNTENVptr env, VNTLPptr lp, int *delstat);

// --- Changing a problem ---------------------------------------------------------------------
//
// A change takes the solution of the problem away, that of a name does not. lu is one of L, U, B:
// the lower bound, the upper one, both.  A list with an element that is refused changes nothing.

// Renames a column where key is 'c', a row where it is 'r'.
int VNTLchgname(VNTENVptr env, VNTLPptr lp, int key, int ij, const char *newname_str);

// Renames cnt rows.
int VNTLchgrowname(VNTENVptr env, VNTLPptr lp, int cnt, const int *indices,
                   const char *const *newname);

// Renames cnt columns.
int VNTLchgcolname(VNTENVptr env, VNTLPptr lp, int cnt, const int *indices,
                   const char *const *newname);

// Takes the names of all rows and columns away; the solver makes others.
int VNTLdelnames(VNTENVptr env, VNTLPptr lp);

// Names the objective.
int VNTLcopyobjname(VNTENVptr env, VNTLPptr lp, const char *objname_str);

// Changes the coefficient of row i in column j.  Row -1 is the objective, column -1 the right-hand
// side, both together the constant of the objective.
int VNTLchgcoef(VNTENVptr env, VNTLPptr lp, int i, int j, double newvalue);

// Changes numcoefs coefficients of the matrix.  Zeros delete them.
int VNTLchgcoeflist(VNTENVptr env, VNTLPptr lp, int64_t numcoefs, const int *rowlist,
                    const int *collist, const double *vallist);

// Changes cnt bounds of columns.  An index may occur more than once.
int VNTLchgbds(VNTENVptr env, VNTLPptr lp, int cnt, const int *indices, const char *lu,
               const double *bd);

// Changes bounds as VNTLchgbds does, to ones that cut no solution off.
int VNTLtightenbds(VNTENVptr env, VNTLPptr lp, int cnt, const int *indices, const char *lu,
                   const double *bd);

// Changes the objective coefficients of cnt columns.
int VNTLchgobj(VNTENVptr env, VNTLPptr lp, int cnt, const int *indices, const double *values);

// Changes the sense of the objective, VNT_MIN or VNT_MAX.
int VNTLchgobjsen(VNTENVptr env, VNTLPptr lp, int maxormin);

// Changes the constant of the objective.
int VNTLchgobjoffset(VNTENVptr env, VNTLPptr lp, double offset);

// Changes the constant of the objective, as VNTLchgobjoffset does.
int VNTLEsetobjoffset(VNTENVptr env, VNTLPptr lp, double objoffset);

// Changes the right-hand sides of cnt rows.
int VNTLchgrhs(VNTENVptr env, VNTLPptr lp, int cnt, const int *indices, const double *values);

// Changes the ranges of cnt rows, all of sense R.
int VNTLchgrngval(VNTENVptr env, VNTLPptr lp, int cnt, const int *indices, const double *values);

// Changes the senses of cnt rows.  A row that stops being of sense R loses its range.
int VNTLchgsense(VNTENVptr env, VNTLPptr lp, int cnt, const int *indices, const char *sense);

// Drops the coefficients of the matrix whose magnitude is at most eps.
int VNTLcleanup(VNTENVptr env, VNTLPptr lp, double eps);

// --- Queries of a problem -------------------------------------------------------------------

// Returns the number of columns.
int VNTLgetnumcols(VNTENVptr env, VNTLPptr lp);

// Returns the number of rows.
int VNTLgetnumrows(VNTENVptr env, VNTLPptr lp);

// Returns the number of coefficients in the matrix.
int64_t VNTLgetnumnz(VNTENVptr env, VNTLPptr lp);

// Returns the number of coefficients in the rows whose mark is 1, of all rows where mark is null.
int64_t VNTLEgetnumrownz(VNTENVptr env, VNTLPptr lp, const int *mark);

// Returns the sense of the objective, VNT_MIN or VNT_MAX, or 0 where there is no problem.
int VNTLgetobjsen(VNTENVptr env, VNTLPptr lp);

// Stores the objective coefficients of columns begin to end.
int VNTLgetobj(VNTENVptr env, VNTLPptr lp, double *obj, int begin, int end);

// Stores the name of the objective.
int VNTLgetobjname(VNTENVptr env, VNTLPptr lp, char *buf_str, int64_t bufspace, int64_t *surplus_p);

// Stores the constant of the objective.
int VNTLgetobjoffset(VNTENVptr env, VNTLPptr lp, double *objoffset_p);

// Stores the right-hand sides of rows begin to end.
int VNTLgetrhs(VNTENVptr env, VNTLPptr lp, double *rhs, int begin, int end);

// Stores the senses of rows begin to end: L, E, G or R.
int VNTLgetsense(VNTENVptr env, VNTLPptr lp, char *sense, int begin, int end);

// Stores the ranges of rows begin to end, 0 where the sense is not R.
int VNTLgetrngval(VNTENVptr env, VNTLPptr lp, double *rngval, int begin, int end);

// Stores the lower bounds of columns begin to end.
int VNTLgetlb(VNTENVptr env, VNTLPptr lp, double *lb, int begin, int end);

// Stores the upper bounds of columns begin to end.
int VNTLgetub(VNTENVptr env, VNTLPptr lp, double *ub, int begin, int end);

// Stores the coefficients of columns begin to end, with their rows.  *nzcnt_p becomes their number.
int VNTLgetcols(VNTENVptr env, VNTLPptr lp, int64_t *nzcnt_p, int64_t *cmatbeg, int *cmatind,
                double *cmatval, int64_t cmatspace, int64_t *surplus_p, int begin, int end);

// Stores the coefficients of rows begin to end, with their columns.  *nzcnt_p becomes their number.
int VNTLgetrows(VNTENVptr env, VNTLPptr lp, int64_t *nzcnt_p, int64_t *rmatbeg, int *rmatind,
                double *rmatval, int64_t rmatspace, int64_t *surplus_p, int begin, int end);

// Stores the coefficient of row i in column j.  Row -1 is the objective, column -1 the right-hand
// side, both together the constant of the objective.
int VNTLgetcoef(VNTENVptr env, VNTLPptr lp, int i, int j, double *coef_p);

// Stores the names of columns begin to end in namestore, and in name where each begins.
int VNTLgetcolname(VNTENVptr env, VNTLPptr lp, char **name, char *namestore, int64_t storespace,
                   int64_t *surplus_p, int begin, int end);

// Stores the names of rows begin to end in namestore, and in name where each begins.
int VNTLgetrowname(VNTENVptr env, VNTLPptr lp, char **name, char *namestore, int64_t storespace,
                   int64_t *surplus_p, int begin, int end);

// Stores the index of the column of that name.
int VNTLgetcolindex(VNTENVptr env, VNTLPptr lp, const char *lname_str, int *index_p);

// Stores the index of the row of that name.
int VNTLgetrowindex(VNTENVptr env, VNTLPptr lp, const char *lname_str, int *index_p);

// --- Discrete columns -----------------------------------------------------------------------
//
// A column type other than C, a set or an indicator constraint makes a continuous problem a
// mixed-integer one.

// Sets the types of all columns: C, B, I, S or N.  A column that becomes binary gets the bounds 0
// and 1.
int VNTLcopyctype(VNTENVptr env, VNTLPptr lp, const char *xctype);

// Changes the types of cnt columns, as VNTLcopyctype does.
int VNTLchgctype(VNTENVptr env, VNTLPptr lp, int cnt, const int *indices, const char *xctype);

// Stores the types of columns begin to end: C, B, I, S or N.
int VNTLgetctype(VNTENVptr env, VNTLPptr lp, char *xctype, int begin, int end);

// Returns the number of integer columns, 0 of a continuous problem.
int VNTLgetnumint(VNTENVptr env, VNTLPptr lp);

// Returns the number of binary columns, 0 of a continuous problem.
int VNTLgetnumbin(VNTENVptr env, VNTLPptr lp);

// Returns the number of semi-continuous columns, 0 of a continuous problem.
int VNTLgetnumsemicont(VNTENVptr env, VNTLPptr lp);

// Returns the number of semi-integer columns, 0 of a continuous problem.
int VNTLgetnumsemiint(VNTENVptr env, VNTLPptr lp);

// --- Special ordered sets -------------------------------------------------------------------
//
// A set has type '1' or '2': so many of its columns, next to each other by their weights, may be
// other than 0.  Null weights stand for 1, 2, 3 and so on.

// Replaces all sets by numsos others.
int VNTLcopysos(VNTENVptr env, VNTLPptr lp, int numsos, int64_t numsosnz, const char *sostype,
                const int64_t *sosbeg, const int *sosind, const double *soswt,
                const char *const *sosname);

// Adds numsos sets.
int VNTLaddsos(VNTENVptr env, VNTLPptr lp, int numsos, int64_t numsosnz, const char *sostype,
               const int64_t *sosbeg, const int *sosind, const double *soswt,
               const char *const *sosname);

// Deletes sets begin to end.
int VNTLdelsos(VNTENVptr env, VNTLPptr lp, int begin, int end);

// Deletes the sets that are marked in delset.
int VNTLdelsetsos(VNTENVptr env, VNTLPptr lp, int *delset);

// Returns the number of sets.
int VNTLgetnumsos(VNTENVptr env, VNTLPptr lp);

// Stores types, columns and weights of sets begin to end.  *numsosnz_p becomes the number of
// columns stored.
int VNTLgetsos(VNTENVptr env, VNTLPptr lp, int64_t *numsosnz_p, char *sostype, int64_t *sosbeg,
               int *sosind, double *soswt, int64_t sosspace, int64_t *surplus_p, int begin,
               int end);

// Stores the names of sets begin to end in namestore, and in name where each begins.
int VNTLgetsosname(VNTENVptr env, VNTLPptr lp, char **name, char *namestore, int64_t storespace,
                   int64_t *surplus_p, int begin, int end);

// Stores the index of the set of that name.
int VNTLgetsosindex(VNTENVptr env, VNTLPptr lp, const char *lname_str, int *index_p);

// Renames cnt sets.
int VNTLEchgsosname(VNTENVptr env, VNTLPptr lp, int cnt, const int *indices,
                    const char *const *newname);

// Stores by how much x, or the last solution where x is null, violates sets begin to end: the sum
// of the magnitudes outside of the best place.
int VNTLgetsosinfeas(VNTENVptr env, VNTLPptr lp, const double *x, double *infeasout, int begin,
                     int end);

// --- Indicator constraints ------------------------------------------------------------------
//
// A linear constraint that holds where a binary column is 1, or where it is 0 if complemented is
// not 0. sense is one of L, E, G.  A type of 1 means just that; other types tie the two more
// tightly.

// Adds an indicator constraint with nzcnt coefficients.  A null name lets the solver make one.
int VNTLaddindconstr(VNTENVptr env, VNTLPptr lp, int indvar, int complemented, int nzcnt,
                     double rhs, int sense, const int *linind, const double *linval,
                     const char *indname_str);

// Adds indcnt indicator constraints with nzcnt coefficients.  Null arrays stand for types 1,
// complemented 0, right-hand sides 0, senses E and names that the solver makes.
int VNTLaddindconstraints(VNTENVptr env, VNTLPptr lp, int indcnt, const int *type,
                          const int *indvar, const int *complemented, int64_t nzcnt,
                          const double *rhs, const char *sense, const int64_t *linbeg,
                          const int *linind, const double *linval, const char *const *indname);

// Deletes indicator constraints begin to end.
int VNTLdelindconstrs(VNTENVptr env, VNTLPptr lp, int begin, int end);

// Returns the number of indicator constraints.
int VNTLgetnumindconstrs(VNTENVptr env, VNTLPptr lp);

// Stores one indicator constraint.  *nzcnt_p becomes the number of its coefficients that are
// stored.
int VNTLgetindconstr(VNTENVptr env, VNTLPptr lp, int *indvar_p, int *complemented_p, int *nzcnt_p,
                     double *rhs_p, char *sense_p, int *linind, double *linval, int space,
                     int *surplus_p, int which);

// Stores indicator constraints begin to end.  *nzcnt_p becomes the number of their coefficients
// that are stored.
int VNTLgetindconstraints(VNTENVptr env, VNTLPptr lp, int *type, int *indvar, int *complemented,
                          int64_t *nzcnt_p, double *rhs, char *sense, int64_t *linbeg, int *linind,
                          double *linval, int64_t linspace, int64_t *surplus_p, int begin, int end);

// Stores the index of the indicator constraint of that name.
int VNTLgetindconstrindex(VNTENVptr env, VNTLPptr lp, const char *lname_str, int *index_p);

// Stores the name of an indicator constraint.
int VNTLgetindconstrname(VNTENVptr env, VNTLPptr lp, char *buf_str, int64_t bufspace,
                         int64_t *surplus_p, int which);

// Stores right-hand side minus activity of indicator constraints begin to end in the last solution,
// whether they hold there or not.
int VNTLgetindconstrslack(VNTENVptr env, VNTLPptr lp, double *indslack, int begin, int end);

// Stores right-hand side minus activity of every indicator constraint at x, or in the last solution
// where x is null.
int VNTLindconstrslackfromx(VNTENVptr env, VNTLPptr lp, const double *x, double *indslack);

// Stores by how much x, or the last solution where x is null, violates indicator constraints begin
// to end; 0 where one need not hold.
int VNTLgetindconstrinfeas(VNTENVptr env, VNTLPptr lp, const double *x, double *infeasout,
                           int begin, int end);

// --- Quadratic objectives -------------------------------------------------------------------
//
// 1/2 x'Qx beside the linear one, with Q symmetric and both triangles given and told.  It must be
// convex to be minimised, concave to be maximised, or the solve returns VNTERR_NOT_CONVEX.
// Problems with discrete columns are refused.  One quadratic solve of a process runs at a time;
// those of other environments wait for it.

// Replaces Q by a matrix given column by column; it makes a linear problem a quadratic one.
int VNTLcopyquad(VNTENVptr env, VNTLPptr lp, const int64_t *qmatbeg, const int *qmatcnt,
                 const int *qmatind, const double *qmatval);

// Replaces Q by a diagonal matrix.
int VNTLcopyqpsep(VNTENVptr env, VNTLPptr lp, const double *qsepvec);

// Changes the entries of Q in row i, column j and in row j, column i.
int VNTLchgqpcoef(VNTENVptr env, VNTLPptr lp, int i, int j, double newvalue);

// Returns the number of entries of Q.
int64_t VNTLgetnumqpnz(VNTENVptr env, VNTLPptr lp);

// Returns the number of columns with entries of Q.
int VNTLgetnumquad(VNTENVptr env, VNTLPptr lp);

// Stores the entry of Q in a row and a column.
int VNTLgetqpcoef(VNTENVptr env, VNTLPptr lp, int rownum, int colnum, double *coef_p);

// Stores the entries of columns begin to end of Q.  *nzcnt_p becomes their number.
int VNTLgetquad(VNTENVptr env, VNTLPptr lp, int64_t *nzcnt_p, int64_t *qmatbeg, int *qmatind,
                double *qmatval, int64_t qmatspace, int64_t *surplus_p, int begin, int end);

// Stores a direction in which the objective curves the wrong way; VNTERR_NO_SOLUTION where there is
// none.
int VNTLqpindefcertificate(VNTENVptr env, VNTLPptr lp, double *x);

// Solves a problem with a quadratic objective, or a linear one by the barrier method.
int VNTLqpopt(VNTENVptr env, VNTLPptr lp);

// Stores the reduced costs that multipliers pi of the rows give at x: objective + Qx - A'pi.
int VNTLqpdjfrompi(VNTENVptr env, VNTLPptr lp, const double *pi, const double *x, double *dj);

// --- Quadratic constraints ------------------------------------------------------------------
//
// Rows whose activity has a linear and a quadratic part: the sum of linval[k] times column
// linind[k] and of quadval[k] times columns quadrow[k] and quadcol[k].

// Adds a quadratic constraint of sense L or G.
int VNTLaddqconstr(VNTENVptr env, VNTLPptr lp, int linnzcnt, int64_t quadnzcnt, double rhs,
                   int sense, const int *linind, const double *linval, const int *quadrow,
                   const int *quadcol, const double *quadval, const char *lname_str);

// Deletes quadratic constraints begin to end.
int VNTLdelqconstrs(VNTENVptr env, VNTLPptr lp, int begin, int end);

// Returns the number of quadratic constraints.
int VNTLgetnumqconstrs(VNTENVptr env, VNTLPptr lp);

// Stores one quadratic constraint.  *linnzcnt_p and *quadnzcnt_p become the numbers of the terms
// that are stored.
int VNTLgetqconstr(VNTENVptr env, VNTLPptr lp, int *linnzcnt_p, int64_t *quadnzcnt_p, double *rhs_p,
                   char *sense_p, int *linind, double *linval, int linspace, int *linsurplus_p,
                   int *quadrow, int *quadcol, double *quadval, int64_t quadspace,
                   int64_t *quadsurplus_p, int which);

// Stores the index of the quadratic constraint of that name.
int VNTLgetqconstrindex(VNTENVptr env, VNTLPptr lp, const char *lname_str, int *index_p);

// Stores the name of a quadratic constraint.
int VNTLgetqconstrname(VNTENVptr env, VNTLPptr lp, char *buf_str, int64_t bufspace,
                       int64_t *surplus_p, int which);

// Renames cnt quadratic constraints.
int VNTLEchgqcname(VNTENVptr env, VNTLPptr lp, int cnt, const int *indices,
                   const char *const *newname);

// Stores right-hand side minus activity of quadratic constraints begin to end in the last solution.
int VNTLgetqconstrslack(VNTENVptr env, VNTLPptr lp, double *qcslack, int begin, int end);

// Stores right-hand side minus activity of every quadratic constraint at x.
int VNTLqconstrslackfromx(VNTENVptr env, VNTLPptr lp, const double *x, double *qcslack);

// Stores by how much x, or the last solution where x is null, violates quadratic constraints begin
// to end.
int VNTLgetqconstrinfeas(VNTENVptr env, VNTLPptr lp, const double *x, double *infeasout, int begin,
                         int end);

// Stores the activities of quadratic constraints begin to end in the last solution.
int VNTLgetxqxax(VNTENVptr env, VNTLPptr lp, double *xqxax, int begin, int end);

// Stores the dual slack of quadratic constraint qind as a sparse vector over the columns.
int VNTLgetqconstrdslack(VNTENVptr env, VNTLPptr lp, int qind, int *nz_p, int *ind, double *val,
                         int space, int *surplus_p);

// --- Piecewise-linear and other function constraints ----------------------------------------
//
// They tie one column to a function of others.

// Adds the constraint that column vary is a piecewise-linear function of column varx, with slope
// preslope before the first of nbreaks points and postslope behind the last.
int VNTLaddpwl(VNTENVptr env, VNTLPptr lp, int vary, int varx, double preslope, double postslope,
               int nbreaks, const double *breakx, const double *breaky, const char *pwlname);

// Deletes piecewise-linear constraints begin to end.
int VNTLdelpwl(VNTENVptr env, VNTLPptr lp, int begin, int end);

// Deletes the piecewise-linear constraints that are marked in delstat.
int VNTLdelsetpwl(VNTENVptr env, VNTLPptr lp, int *delstat);

// Returns the number of piecewise-linear constraints.
int VNTLgetnumpwl(VNTENVptr env, VNTLPptr lp);

// Stores one piecewise-linear constraint.  *nbreaks_p becomes the number of points stored.
int VNTLgetpwl(VNTENVptr env, VNTLPptr lp, int pwlindex, int *vary_p, int *varx_p,
               double *preslope_p, double *postslope_p, int *nbreaks_p, double *breakx,
               double *breaky, int breakspace, int *surplus_p);

// Stores the name of a piecewise-linear constraint.
int VNTLgetpwlname(VNTENVptr env, VNTLPptr lp, char *buf_str, int64_t bufspace, int64_t *surplus_p,
                   int which);

// Stores the index of the piecewise-linear constraint of that name.
int VNTLgetpwlindex(VNTENVptr env, VNTLPptr lp, const char *lname_str, int *index_p);

// Adds the constraint that column y is a piecewise-linear function of column x, given by points,
// the slopes between and beyond them, and the point (a, b) that the function goes through.
int VNTLEaddpwl(VNTENVptr env, VNTLPptr lp, int y, int npoints, const double *point, int nslopes,
                const double *slope, double a, double b, int x, const char *lname_str);

// Adds the constraint that column y is the least of constant and nexpr linear expressions.
int VNTLEaddminexpr(VNTENVptr env, VNTLPptr lp, int y, double constant, int nexpr, int64_t nnz,
                    const int64_t *matbeg, const int *matind, const double *matval,
                    const char *lname_str);

// Adds the constraint that column y is the greatest of constant and nexpr linear expressions.
int VNTLEaddmaxexpr(VNTENVptr env, VNTLPptr lp, int y, double constant, int nexpr, int64_t nnz,
                    const int64_t *matbeg, const int *matind, const double *matval,
                    const char *lname_str);

// Adds the constraint that column y is the absolute value of column x.
int VNTLEaddabs(VNTENVptr env, VNTLPptr lp, int y, int x, const char *lname_str);

// Returns the number of function constraints of a type.
int VNTLEgetnumgconstrs(VNTENVptr env, VNTLPptr lp, int contype);

// Deletes function constraints beg to end of a type.
int VNTLEdelgconstrs(VNTENVptr env, VNTLPptr lp, int contype, int beg, int end);

// --- Bases and starting points --------------------------------------------------------------
//
// A basis status is VNT_BASIS_*. cstat and cprim have one element per column, rstat and rprim one
// per row.  As many columns and rows are basic as there are rows.

// Sets the basis from which the next continuous solve starts.
int VNTLcopybase(VNTENVptr env, VNTLPptr lp, const int *cstat, const int *rstat);

// Stores the basis.
int VNTLgetbase(VNTENVptr env, VNTLPptr lp, int *cstat, int *rstat);

// Returns 1 if there is a basis to ask for, else 0.
int VNTLEcangetbase(VNTENVptr env, VNTLPptr lp);

// Sets a start: a basis, or values cprim of the columns for a search.  The other values may be of
// no use to the solver.  Null arrays give nothing.
int VNTLcopystart(VNTENVptr env, VNTLPptr lp, const int *cstat, const int *rstat,
                  const double *cprim, const double *rprim, const double *cdual,
                  const double *rdual);

// --- Solving continuous problems ------------------------------------------------------------
//
// These calls return 0 when the solve ended, however it ended: VNTLgetstat tells how.  A problem
// with a quadratic objective is for VNTLqpopt.

// Solves a linear problem by a method that the solver chooses.
int VNTLlpopt(VNTENVptr env, VNTLPptr lp);

// Solves a linear problem by the primal simplex method.
int VNTLprimopt(VNTENVptr env, VNTLPptr lp);

// Solves a linear problem by the dual simplex method.
int VNTLdualopt(VNTENVptr env, VNTLPptr lp);

// Solves a linear problem by the barrier method and goes on to a basis.
int VNTLbaropt(VNTENVptr env, VNTLPptr lp);

// Solves a linear problem by the barrier method and goes on to a basis by method 0 (the solver's
// choice), 1 (primal) or 2 (dual).
int VNTLhybbaropt(VNTENVptr env, VNTLPptr lp, int method);

// Solves a linear problem by its network part first and then by method VNT_METHOD_PRIMAL, _DUAL or
// _BARRIER.
int VNTLhybnetopt(VNTENVptr env, VNTLPptr lp, int method);

// Solves a linear problem with many more columns than rows by sifting.
int VNTLsiftopt(VNTENVptr env, VNTLPptr lp);

// --- Solving mixed-integer problems ---------------------------------------------------------
//
// These calls return 0 when the search ended, however it ended: VNTLgetstat tells how.

// Solves a mixed-integer problem.
int VNTLmipopt(VNTENVptr env, VNTLPptr lp);

// Stores the best bound on the objective that the last search proved.
int VNTLgetbestobjval(VNTENVptr env, VNTLPptr lp, double *objval_p);

// Stores the relative gap between solution and bound, 1e75 without a solution.
int VNTLgetmiprelgap(VNTENVptr env, VNTLPptr lp, double *gap_p);

// Stores the cutoff of the last search, which solutions had to be better than; an infinite one
// where none was given.
int VNTLgetcutoff(VNTENVptr env, VNTLPptr lp, double *cutoff_p);

// Returns the number of nodes that the last search solved.
int64_t VNTLgetnodecnt(VNTENVptr env, VNTLPptr lp);

// Returns the number of nodes that the last search left open.
int64_t VNTLgetnodeleftcnt(VNTENVptr env, VNTLPptr lp);

// Returns the node at which the solution was found.
int64_t VNTLgetnodeint(VNTENVptr env, VNTLPptr lp);

// Stores how many cuts of a type the last search applied; cuttype 0 means cuts of all types.
int VNTLgetnumcuts(VNTENVptr env, VNTLPptr lp, int cuttype, int *num_p);

// Returns the number of simplex iterations of the last search.
int64_t VNTLgetmipitcnt(VNTENVptr env, VNTLPptr lp);

// Returns how the last continuous subproblem of a search ended, VNT_STAT_*.
int VNTLgetsubstat(VNTENVptr env, VNTLPptr lp);

// Returns the method that solved the last continuous subproblem of a search, VNT_METHOD_*.
int VNTLgetsubmethod(VNTENVptr env, VNTLPptr lp);

// Solves the problem cnt times, each time with another seed.
int VNTLErunseeds(VNTENVptr env, VNTLPptr lp, int cnt);

// Stores the deterministic ticks and the seconds that the root node took.
int VNTLEgetrootticks(VNTENVptr env, VNTLPptr lp, double *ticks_p, double *walltime_p);

// --- Branching order ------------------------------------------------------------------------
//
// A column of higher priority is branched on first.  A direction is -1 (down first), 1 (up first)
// or 0.  Files hold one line a column, the name at its end:
//
//     order of NAME
//     PRIORITY up, down or any COLUMN
//     ...
//     end

// Replaces the order.  Null arrays stand for priorities 0 and directions 0.
int VNTLcopyorder(VNTENVptr env, VNTLPptr lp, int cnt, const int *indices, const int *priority,
                  const int *direction);

// Stores the order.  *cnt_p becomes the number of elements stored.
int VNTLgetorder(VNTENVptr env, VNTLPptr lp, int *cnt_p, int *indices, int *priority,
                 int *direction, int ordspace, int *surplus_p);

// Reads an order from a file in place of the one that is there.
int VNTEreadcopyorder(VNTENVptr env, VNTLPptr lp, const char *filename_str, const char *contents,
                      int64_t length);

// Writes the order to a file.
int VNTLordwrite(VNTENVptr env, VNTLPptr lp, const char *filename_str);

// Reads an order from a file for columns that have the names given, without a problem.  The three
// arrays have room for numcols elements each.
int VNTEordread(VNTENVptr env, const char *filename_str, const char *contents, int64_t length,
                int numcols, const char *const *colname, int *cnt_p, int *indices, int *priority,
                int *direction);

// --- MIP starts -----------------------------------------------------------------------------
//
// Points from which a search may begin; they need not name all columns.  Files hold any number of
// them:
//
//     starts of NAME
//     start EFFORT VALUES NAME
//     VALUE COLUMN
//     ...
//     end

// Adds mcnt MIP starts with nzcnt values.  Null effort levels are 0, null names are made by the
// solver.
int VNTLaddmipstarts(VNTENVptr env, VNTLPptr lp, int mcnt, int64_t nzcnt, const int64_t *beg,
                     const int *varindices, const double *values, const int *effortlevel,
                     const char *const *mipstartname);

// Replaces the values of mcnt MIP starts, and their effort levels unless effortlevel is null.
int VNTLchgmipstarts(VNTENVptr env, VNTLPptr lp, int mcnt, const int *mipstartindices,
                     int64_t nzcnt, const int64_t *beg, const int *varindices, const double *values,
                     const int *effortlevel);

// Deletes MIP starts begin to end.
int VNTLdelmipstarts(VNTENVptr env, VNTLPptr lp, int begin, int end);

// Deletes the MIP starts that are marked in delstat.
int VNTLdelsetmipstarts(VNTENVptr env, VNTLPptr lp, int *delstat);

// Returns the number of MIP starts.
int VNTLgetnummipstarts(VNTENVptr env, VNTLPptr lp);

// Stores columns, values and effort levels of MIP starts begin to end.  *nzcnt_p becomes the number
// of values stored.
int VNTLgetmipstarts(VNTENVptr env, VNTLPptr lp, int64_t *nzcnt_p, int64_t *beg, int *varindices,
                     double *values, int *effortlevel, int64_t startspace, int64_t *surplus_p,
                     int begin, int end);

// Stores the names of MIP starts begin to end in namestore, and in name where each begins.
int VNTLgetmipstartname(VNTENVptr env, VNTLPptr lp, char **name, char *namestore, int64_t storesz,
                        int64_t *surplus_p, int begin, int end);

// Stores the index of the MIP start of that name.
int VNTLgetmipstartindex(VNTENVptr env, VNTLPptr lp, const char *lname_str, int *index_p);

// Reads MIP starts from a file in place of those that are there.
int VNTEreadcopymipstarts(VNTENVptr env, VNTLPptr lp, const char *filename_str,
                          const char *contents, int64_t length);

// Writes MIP starts begin to end to a file.
int VNTLwritemipstarts(VNTENVptr env, VNTLPptr lp, const char *filename_str, int begin, int end);

// --- User cuts and lazy constraints ---------------------------------------------------------
//
// Rows of sense L, E or G beside those of the problem.  No query of the rows counts them, and
// continuous solves leave them out.  A search takes only solutions that keep to the lazy
// constraints.  User cuts, which must allow all of these solutions, may help it to be quick.  Both
// join its rows when a point on its way violates them.

// Adds rcnt user cuts.  Null arrays stand for right-hand sides 0, senses E and names that the
// solver makes.
int VNTLaddusercuts(VNTENVptr env, VNTLPptr lp, int rcnt, int64_t nzcnt, const double *rhs,
                    const char *sense, const int64_t *rmatbeg, const int *rmatind,
                    const double *rmatval, const char *const *rowname);

// Adds rcnt lazy constraints.  Null arrays stand for right-hand sides 0, senses E and names that
// the solver makes.
int VNTLaddlazyconstraints(VNTENVptr env, VNTLPptr lp, int rcnt, int64_t nzcnt, const double *rhs,
                           const char *sense, const int64_t *rmatbeg, const int *rmatind,
                           const double *rmatval, const char *const *rowname);

// Deletes all user cuts.
int VNTLfreeusercuts(VNTENVptr env, VNTLPptr lp);

// Deletes all lazy constraints.
int VNTLfreelazyconstraints(VNTENVptr env, VNTLPptr lp);

// Returns the number of user cuts.
int VNTLgetnumusercuts(VNTENVptr env, VNTLPptr lp);

// Returns the number of lazy constraints.
int VNTLgetnumlazyconstraints(VNTENVptr env, VNTLPptr lp);

// Stores the name of a user cut.
int VNTLEgetusercutname(VNTENVptr env, VNTLPptr lp, char *buf_str, int64_t bufspace,
                        int64_t *surplus_p, int which);

// Stores the name of a lazy constraint.
int VNTLEgetlazyconstraintname(VNTENVptr env, VNTLPptr lp, char *buf_str, int64_t bufspace,
                               int64_t *surplus_p, int which);

// --- The solution ---------------------------------------------------------------------------
//
// A slack is right-hand side minus activity.  What the method of the last solve does not give is
// refused with VNTERR_NO_SOLUTION.

// Returns how the last solve ended, VNT_STAT_*.
int VNTLgetstat(VNTENVptr env, VNTLPptr lp);

// Returns the algorithm of the last solve, VNT_METHOD_*.
int VNTLgetmethod(VNTENVptr env, VNTLPptr lp);

// Stores what the last solve left: its algorithm VNT_METHOD_*, the kind of solution VNT_SOLUTION_*,
// and 1 for each of primal and dual feasible, else 0.
int VNTLsolninfo(VNTENVptr env, VNTLPptr lp, int *solnmethod_p, int *solntype_p, int *pfeasind_p,
                 int *dfeasind_p);

// Stores status, objective, values, prices, slacks and reduced costs of the last solve at once.
// Arrays that the method does not give become 0.
int VNTLsolution(VNTENVptr env, VNTLPptr lp, int *lpstat_p, double *objval_p, double *x, double *pi,
                 double *slack, double *dj);

// Stores the objective value of the solution.
int VNTLgetobjval(VNTENVptr env, VNTLPptr lp, double *objval_p);

// Stores the values of columns begin to end in the last solution.
int VNTLgetx(VNTENVptr env, VNTLPptr lp, double *x, int begin, int end);

// Stores the activities of rows begin to end in the last solution.
int VNTLgetax(VNTENVptr env, VNTLPptr lp, double *x, int begin, int end);

// Stores the prices (dual values) of rows begin to end in the last solution.
int VNTLgetpi(VNTENVptr env, VNTLPptr lp, double *pi, int begin, int end);

// Stores the slacks of rows begin to end in the last solution.
int VNTLgetslack(VNTENVptr env, VNTLPptr lp, double *slack, int begin, int end);

// Stores the reduced costs of columns begin to end in the last solution.
int VNTLgetdj(VNTENVptr env, VNTLPptr lp, double *dj, int begin, int end);

// Stores the slacks of all rows at x, or in the last solution where x is null.
int VNTLslackfromx(VNTENVptr env, VNTLPptr lp, const double *x, double *slack);

// Returns the objective value at x, or in the last solution where x is null; 0 where there is
// neither.
double VNTLEobjfromx(VNTENVptr env, VNTLPptr lp, const double *x);

// Stores the reduced costs that multipliers pi of the rows give: objective - A'pi.
int VNTLdjfrompi(VNTENVptr env, VNTLPptr lp, const double *pi, double *dj);

// Stores a direction in which an unbounded problem improves for ever.
int VNTLgetray(VNTENVptr env, VNTLPptr lp, double *z);

// Stores multipliers of the rows that prove a problem infeasible: with y[i] > 0 weighing a row's
// lower end and y[i] < 0 its upper one, the weighted sum of the rows cannot reach that of their
// ends.  *proof_p becomes by how much it falls short.
int VNTLdualfarkas(VNTENVptr env, VNTLPptr lp, double *y, double *proof_p);

// Stores the row or the column, the other -1, that ran away when the problem proved unbounded.
int VNTLgetijdiv(VNTENVptr env, VNTLPptr lp, int *idiv_p, int *jdiv_p);

// --- Quality of a solution ------------------------------------------------------------------
//
// what is VNT_QUALITY_*.  An infeasibility is positive above what is allowed, negative below it.

// Stores a quality of the last solution: a greatest magnitude or a sum.
int VNTLgetdblquality(VNTENVptr env, VNTLPptr lp, double *quality_p, int what);

// Stores the index of the greatest magnitude of a quality, -1 where there are no values.
int VNTLgetintquality(VNTENVptr env, VNTLPptr lp, int *quality_p, int what);

// Stores a quality of solution soln of the pool, of the last one where soln is negative.
int VNTLgetsolnpooldblquality(VNTENVptr env, VNTLPptr lp, int soln, double *quality_p, int what);

// Stores the index of the greatest magnitude of a quality of solution soln of the pool, of the last
// one where soln is negative; -1 where there are no values.
int VNTLgetsolnpoolintquality(VNTENVptr env, VNTLPptr lp, int soln, int *quality_p, int what);

// Stores by how much x, or the last solution where x is null, violates rows begin to end.
int VNTLgetrowinfeas(VNTENVptr env, VNTLPptr lp, const double *x, double *infeasout, int begin,
                     int end);

// Stores by how much x, or the last solution where x is null, violates the bounds of columns begin
// to end.
int VNTLgetcolinfeas(VNTENVptr env, VNTLPptr lp, const double *x, double *infeasout, int begin,
                     int end);

// Holds the last solution against the problem.  *lpstatus_p becomes its status where the solution
// is what that says, else VNT_STAT_NUMERICAL; the warning channel tells what is violated.
int VNTLchecksoln(VNTENVptr env, VNTLPptr lp, int *lpstatus_p);

// Checks the basis for primal feasibility.  *infeas_p becomes 0 where it is feasible.
int VNTLcheckpfeas(VNTENVptr env, VNTLPptr lp, int *infeas_p);

// Checks the basis for dual feasibility.  *infeas_p becomes 0 where it is feasible.
int VNTLcheckdfeas(VNTENVptr env, VNTLPptr lp, int *infeas_p);

// --- Iteration counts -----------------------------------------------------------------------
//
// Of the last solve; 0 for what its method does not count.

// Returns the number of simplex iterations of a continuous solve.
int64_t VNTLgetitcnt(VNTENVptr env, VNTLPptr lp);

// Returns the number of simplex iterations before a feasible point.
int64_t VNTLgetphase1cnt(VNTENVptr env, VNTLPptr lp);

// Returns the number of sifting iterations.
int64_t VNTLgetsiftitcnt(VNTENVptr env, VNTLPptr lp);

// Returns the number of sifting iterations before a feasible point.
int64_t VNTLgetsiftphase1cnt(VNTENVptr env, VNTLPptr lp);

// Returns the number of barrier iterations.
int64_t VNTLgetbaritcnt(VNTENVptr env, VNTLPptr lp);

// Returns the number of primal pushes on the way from the barrier's point to a basis.
int64_t VNTLgetcrossppushcnt(VNTENVptr env, VNTLPptr lp);

// Returns the number of primal exchanges on the way from the barrier's point to a basis.
int64_t VNTLgetcrosspexchcnt(VNTENVptr env, VNTLPptr lp);

// Returns the number of dual pushes on the way from the barrier's point to a basis.
int64_t VNTLgetcrossdpushcnt(VNTENVptr env, VNTLPptr lp);

// Returns the number of dual exchanges on the way from the barrier's point to a basis.
int64_t VNTLgetcrossdexchcnt(VNTENVptr env, VNTLPptr lp);

// Returns the number of primal superbasic columns.
int VNTLgetpsbcnt(VNTENVptr env, VNTLPptr lp);

// Returns the number of dual superbasic columns.
int VNTLgetdsbcnt(VNTENVptr env, VNTLPptr lp);

// --- Sensitivity ----------------------------------------------------------------------------
//
// Between what ends one number of the problem may go, all others as they are, while the basis of
// the solution stays optimal.  Ends of VNT_INFINITY and more are no ends.  The problem is
// continuous and solved to a basis.

// Stores the ends of the right-hand sides of rows begin to end.
int VNTLrhssa(VNTENVptr env, VNTLPptr lp, double *lower, double *upper, int begin, int end);

// Stores the ends of the lower and upper bounds of columns begin to end.
int VNTLboundsa(VNTENVptr env, VNTLPptr lp, double *lblower, double *lbupper, double *ublower,
                double *ubupper, int begin, int end);

// Stores the ends of the objective coefficients of columns begin to end.
int VNTLobjsa(VNTENVptr env, VNTLPptr lp, double *lower, double *upper, int begin, int end);

// Stores the ends of the lower and upper bounds of the activities of rows begin to end.
int VNTLErangesa(VNTENVptr env, VNTLPptr lp, double *lblower, double *lbupper, double *ublower,
                 double *ubupper, int begin, int end);

// --- The solution pool ----------------------------------------------------------------------
//
// The solutions that the last search found, the last 100 at most, the best one last.  A solution
// enters the pool if all filters let it pass: that of a range wants lb <= sum of val x <= ub, that
// of diversity lower_bound <= sum of weight |x - refval| <= upper_bound.

// Searches on for more solutions of a mixed-integer problem and puts them into the pool.
int VNTLpopulate(VNTENVptr env, VNTLPptr lp);

// Returns the number of solutions in the pool.
int VNTLgetsolnpoolnumsolns(VNTENVptr env, VNTLPptr lp);

// Returns the number of solutions that others have replaced in the pool.
int VNTLgetsolnpoolnumreplaced(VNTENVptr env, VNTLPptr lp);

// Stores the mean of the objective values in the pool.
int VNTLgetsolnpoolmeanobjval(VNTENVptr env, VNTLPptr lp, double *meanobjval_p);

// Stores the objective value of solution soln, of the last solution where soln is negative.
int VNTLgetsolnpoolobjval(VNTENVptr env, VNTLPptr lp, int soln, double *objval_p);

// Stores the values of columns begin to end in solution soln, in the last solution where soln is
// negative.
int VNTLgetsolnpoolx(VNTENVptr env, VNTLPptr lp, int soln, double *x, int begin, int end);

// Stores the slacks of rows begin to end in solution soln, in the last solution where soln is
// negative.
int VNTLgetsolnpoolslack(VNTENVptr env, VNTLPptr lp, int soln, double *slack, int begin, int end);

// Stores the slacks of quadratic constraints begin to end in solution soln.
int VNTLgetsolnpoolqconstrslack(VNTENVptr env, VNTLPptr lp, int soln, double *qcslack, int begin,
                                int end);

// Stores the name of a solution.
int VNTLgetsolnpoolsolnname(VNTENVptr env, VNTLPptr lp, char *store, int64_t storesz,
                            int64_t *surplus_p, int which);

// Stores the index of the solution of that name.
int VNTLgetsolnpoolsolnindex(VNTENVptr env, VNTLPptr lp, const char *lname_str, int *index_p);

// Deletes solutions begin to end.
int VNTLdelsolnpoolsolns(VNTENVptr env, VNTLPptr lp, int begin, int end);

// Deletes the solutions that are marked in delstat.
int VNTLdelsetsolnpoolsolns(VNTENVptr env, VNTLPptr lp, int *delstat);

// Adds a filter of diversity.  Null weights are 1, a null name is made by the solver.
int VNTLaddsolnpooldivfilter(VNTENVptr env, VNTLPptr lp, double lower_bound, double upper_bound,
                             int nzcnt, const int *ind, const double *weight, const double *refval,
                             const char *lname_str);

// Adds a filter of a range.  A null name is made by the solver.
int VNTLaddsolnpoolrngfilter(VNTENVptr env, VNTLPptr lp, double lb, double ub, int nzcnt,
                             const int *ind, const double *val, const char *lname_str);

// Deletes filters begin to end.
int VNTLdelsolnpoolfilters(VNTENVptr env, VNTLPptr lp, int begin, int end);

// Deletes the filters that are marked in delstat.
int VNTLdelsetsolnpoolfilters(VNTENVptr env, VNTLPptr lp, int *delstat);

// Returns the number of filters.
int VNTLgetsolnpoolnumfilters(VNTENVptr env, VNTLPptr lp);

// Stores the type of a filter, VNT_FILTER_*.
int VNTLgetsolnpoolfiltertype(VNTENVptr env, VNTLPptr lp, int *ftype_p, int which);

// Stores a filter of diversity; one of a range is refused with VNTERR_WRONG_TYPE.  *nzcnt_p becomes
// the number of columns stored.
int VNTLgetsolnpooldivfilter(VNTENVptr env, VNTLPptr lp, double *lower_cutoff_p,
                             double *upper_cutoff_p, int *nzcnt_p, int *ind, double *val,
                             double *refval, int space, int *surplus_p, int which);

// Stores a filter of a range; one of diversity is refused with VNTERR_WRONG_TYPE.  *nzcnt_p becomes
// the number of columns stored.
int VNTLgetsolnpoolrngfilter(VNTENVptr env, VNTLPptr lp, double *lb_p, double *ub_p, int *nzcnt_p,
                             int *ind, double *val, int space, int *surplus_p, int which);

// Stores a filter of either type.  *nzcnt_p becomes the number of columns stored; only a filter of
// diversity fills refval.
int VNTLEgetsolnpoolfilter(VNTENVptr env, VNTLPptr lp, int *ftype_p, double *lowercutoff_p,
                           double *upper_cutoff_p, int *nzcnt_p, int *ind, double *val,
                           double *refval, int space, int *surplus_p, int which);

// Stores the name of a filter.
int VNTLgetsolnpoolfiltername(VNTENVptr env, VNTLPptr lp, char *buf_str, int64_t bufspace,
                              int64_t *surplus_p, int which);

// Stores the index of the filter of that name.
int VNTLgetsolnpoolfilterindex(VNTENVptr env, VNTLPptr lp, const char *lname_str, int *index_p);

// Reads filters from a file in place of those that are there.
int VNTEreadcopysolnpoolfilters(VNTENVptr env, VNTLPptr lp, const char *filename_str,
                                const char *contents, int64_t length);

// Writes all filters to a file.
int VNTLfltwrite(VNTENVptr env, VNTLPptr lp, const char *filename_str);

// --- Conflicts ------------------------------------------------------------------------------
//
// Parts of an infeasible problem that are infeasible by themselves, found among all rows and bounds
// or among groups of constraints, while what is in no group always holds.  Group k has the members
// grpbeg[k] on, up to the next group's; grptype is VNT_CONSTRAINT_*.  The higher the preference of
// a group, the later it is left out; 0 never leaves it out, a negative one always.  Bounds of
// semi-continuous columns and of those that indicators ask always hold.  A search of more than 5000
// nodes, or of 100 where integer columns lack a bound, leaves its question undecided.  The conflict
// stays until the problem changes or is solved.

// Looks for a conflict among all rows and bounds, and stores how many rows and columns it has.
int VNTLrefineconflict(VNTENVptr env, VNTLPptr lp, int *confnumrows_p, int *confnumcols_p);

// Looks for a conflict among groups of constraints.  Null preferences are 1.
int VNTLrefineconflictext(VNTENVptr env, VNTLPptr lp, int64_t grpcnt, int64_t concnt,
                          const double *grppref, const int64_t *grpbeg, const int *grpind,
                          const char *grptype);

// Looks for a conflict as VNTLrefineconflict does, with the discrete columns held at the values of
// a MIP start.
int VNTLrefinemipstartconflict(VNTENVptr env, VNTLPptr lp, int mipstartindex, int *confnumrows_p,
                               int *confnumcols_p);

// Looks for a conflict as VNTLrefineconflictext does, with the discrete columns held at the values
// of a MIP start.
int VNTLrefinemipstartconflictext(VNTENVptr env, VNTLPptr lp, int mipstartindex, int64_t grpcnt,
                                  int64_t concnt, const double *grppref, const int64_t *grpbeg,
                                  const int *grpind, const char *grptype);

// Stores the conflict: how its search ended, VNT_CONFSTAT_*, its rows and columns, and what each is
// in it, VNT_CONFLICT_*.  A call with null arrays asks for the counts alone.
int VNTLgetconflict(VNTENVptr env, VNTLPptr lp, int *confstat_p, int *rowind, int *rowbdstat,
                    int *confnumrows_p, int *colind, int *colbdstat, int *confnumcols_p);

// Stores what groups beg to end are in the conflict, VNT_CONFLICT_*.
int VNTLgetconflictext(VNTENVptr env, VNTLPptr lp, int *grpstat, int64_t beg, int64_t end);

// Stores the preferences and members of groups begin to end.  *concnt_p becomes the number of
// members stored.
int VNTLgetconflictgroups(VNTENVptr env, VNTLPptr lp, int64_t *concnt_p, double *grppref,
                          int64_t *grpbeg, int *grpind, char *grptype, int64_t grpspace,
                          int64_t *surplus_p, int begin, int end);

// Returns the number of groups among which the conflict was looked for.
int64_t VNTLgetconflictnumgroups(VNTENVptr env, VNTLPptr lp);

// Returns how many times the search asked whether a part is feasible.
int64_t VNTLgetconflictnumpasses(VNTENVptr env, VNTLPptr lp);

// Writes the conflict as an LP file without an objective.
int VNTLclpwrite(VNTENVptr env, VNTLPptr lp, const char *filename_str);

// --- Relaxation -----------------------------------------------------------------------------
//
// The cheapest relaxation of an infeasible problem: a solution that violates what has a preference
// above 0, as little as possible; see VNT_PARAM_FEASOPT_MODE.  The answer is a solution without
// basis and prices, its objective the problem's own; VNTLgetrowinfeas and VNTLgetcolinfeas tell
// what it violates.  VNTLgetstat is VNT_STAT_RELAXED or VNT_STAT_RELAXED_OPTIMAL,
// VNT_STAT_INFEASIBLE where too little may give way.

// Relaxes by preferences of rows and bounds: rhs for rows at their right-hand side, rng for the
// other end of ranged rows, lb and ub for bounds.  Null arrays let nothing give way.
int VNTLfeasopt(VNTENVptr env, VNTLPptr lp, const double *rhs, const double *rng, const double *lb,
                const double *ub);

// Relaxes as VNTLfeasopt does, with preferences qrhs of quadratic constraints besides.
int VNTLEfeasopt(VNTENVptr env, VNTLPptr lp, const double *rhs, const double *rng, const double *lb,
                 const double *ub, const double *qrhs);

// Relaxes by groups of constraints with a preference each, as VNTLrefineconflictext takes them.
// Null preferences are 1.
int VNTLfeasoptext(VNTENVptr env, VNTLPptr lp, int grpcnt, int64_t concnt, const double *grppref,
                   const int64_t *grpbeg, const int *grpind, const char *grptype);

// --- Problem files --------------------------------------------------------------------------
//
// A function that reads takes the length bytes at contents; where contents is null it opens the
// file itself.  The name serves messages and, without a filetype, the choice of format.  Types are
// "mps", "qps", "lp" and, for networks, "min" (DIMACS); files packed by gzip, bzip2 or xz are
// unpacked.  The problem changes only once the whole file has been understood.

// Reads a problem from a file in place of the one that is there.  A network becomes a linear
// problem.
int VNTEreadcopyprob(VNTENVptr env, VNTLPptr lp, const char *filename_str, const char *contents,
                     int64_t length, const char *filetype);

// Reads a problem as VNTEreadcopyprob does.
int VNTLEreadcopyprob(VNTENVptr env, VNTLPptr lp, const char *filename, const char *content,
                      int64_t length, const char *filetype);

// Writes the problem to a file.  Names that the format cannot hold are replaced, and the warning
// channel says so.
int VNTLwriteprob(VNTENVptr env, VNTLPptr lp, const char *filename_str, const char *filetype);

// Writes the network that is embedded in the problem to a file.
int VNTLembwrite(VNTENVptr env, VNTLPptr lp, const char *filename_str);

// Writes the problem to a file, perturbed by epsilon as for the dual simplex method.
int VNTLdperwrite(VNTENVptr env, VNTLPptr lp, const char *filename_str, double epsilon);

// Writes the problem to a file, perturbed by epsilon as for the primal simplex method.
int VNTLpperwrite(VNTENVptr env, VNTLPptr lp, const char *filename_str, double epsilon);

// Writes the presolved problem to a file and stores the constant that presolve took out of the
// objective.
int VNTLpreslvwrite(VNTENVptr env, VNTLPptr lp, const char *filename_str, double *objoff_p);

// Writes the dual of a linear problem to a file and stores the constant of its objective.
int VNTLdualwrite(VNTENVptr env, VNTLPptr lp, const char *filename_str, double *objshift_p);

// --- Basis and solution files ---------------------------------------------------------------

// Reads a basis from a file.
int VNTEreadcopybase(VNTENVptr env, VNTLPptr lp, const char *filename_str, const char *contents,
                     int64_t length);

// Writes the basis to a file.
int VNTLmbasewrite(VNTENVptr env, VNTLPptr lp, const char *filename_str);

// Reads solutions from a file as the start of the next solve: the MIP starts of a problem with
// discrete columns, else a basis near the first one.
int VNTEreadcopysol(VNTENVptr env, VNTLPptr lp, const char *filename_str, const char *contents,
                    int64_t length);

// Reads a file of solutions, MIP starts or a basis, whichever it holds, as the start of the next
// solve.
int VNTEreadcopystartinfo(VNTENVptr env, VNTLPptr lp, const char *filename_str,
                          const char *contents, int64_t length);

// Writes the solution to a file.
int VNTLsolwrite(VNTENVptr env, VNTLPptr lp, const char *filename_str);

// Writes solution soln of the pool to a file.
int VNTLsolwritesolnpool(VNTENVptr env, VNTLPptr lp, int soln, const char *filename_str);

// Writes all solutions of the pool to one file.
int VNTLsolwritesolnpoolall(VNTENVptr env, VNTLPptr lp, const char *filename_str);

// --- The tableau ----------------------------------------------------------------------------
//
// The basis matrix B has one column for each row of the problem: that of a basic column, or a unit
// column for the slack of row i, which head counts as -1 - i.  Rows and columns of B^-1 are in this
// order.

// Stores the basic columns and slacks in the order of B, and their values.
int VNTLgetbhead(VNTENVptr env, VNTLPptr lp, int *head, double *x);

// Stores column j of B^-1.
int VNTLbinvcol(VNTENVptr env, VNTLPptr lp, int j, double *x);

// Stores row i of B^-1.
int VNTLbinvrow(VNTENVptr env, VNTLPptr lp, int i, double *y);

// Stores column j of B^-1 A.
int VNTLbinvacol(VNTENVptr env, VNTLPptr lp, int j, double *x);

// Stores row i of B^-1 A.
int VNTLbinvarow(VNTENVptr env, VNTLPptr lp, int i, double *z);

// Replaces x by B^-1 x.
int VNTLftran(VNTENVptr env, VNTLPptr lp, double *x);

// Replaces y by y B^-1.
int VNTLbtran(VNTENVptr env, VNTLPptr lp, double *y);

// Stores the order of B and B^-1 times column j.
int VNTLgetgrad(VNTENVptr env, VNTLPptr lp, int j, int *head, double *y);

// Stores the place in B of column j, where i is negative, or of row i's slack, where j is negative:
// -1 where it is not basic.
int VNTLgetijrow(VNTENVptr env, VNTLPptr lp, int i, int j, int *row_p);

// Stores by how much the objective worsens at first for each unit that a basic column is forced
// down or up.
int VNTLmdleave(VNTENVptr env, VNTLPptr lp, const int *indices, int cnt, double *downratio,
                double *upratio);

// Stores the objective after at most itlim dual steps with a column below its value, and above it,
// at the next integer.  It is VNT_INFINITY, for a maximum negative, where that is infeasible.
// After a limit or a stop the rest get the objective as it is.
int VNTLstrongbranch(VNTENVptr env, VNTLPptr lp, const int *indices, int cnt, double *downobj,
                     double *upobj, int64_t itlim);

// --- Simplex steps by hand ------------------------------------------------------------------

// Stores, for each of cnt nonbasic columns, how far it can go down and up, which basic column then
// leaves and at which bound.  It may mark elements of indices.
int VNTLpratio(VNTENVptr env, VNTLPptr lp, int *indices, int cnt, double *downratio,
               double *upratio, int *downleave, int *upleave, int *downleavestatus,
               int *upleavestatus, int *downstatus, int *upstatus);

// Stores, for each of cnt basic columns, the dual steps when it leaves downwards and upwards, and
// which column then enters.  It may mark elements of indices.
int VNTLdratio(VNTENVptr env, VNTLPptr lp, int *indices, int cnt, double *downratio,
               double *upratio, int *downenter, int *upenter, int *downstatus, int *upstatus);

// Makes column jenter basic and column jleave nonbasic, at the bound that leavestat says.
int VNTLpivot(VNTENVptr env, VNTLPptr lp, int jenter, int jleave, int leavestat);

// Makes the slacks of the rows of a list basic.
int VNTLpivotin(VNTENVptr env, VNTLPptr lp, const int *rlist, int rlen);

// Makes the columns of a list nonbasic.
int VNTLpivotout(VNTENVptr env, VNTLPptr lp, const int *clist, int clen);

// Goes on to the second phase of the simplex method, the basis being feasible.
int VNTLsetphase2(VNTENVptr env, VNTLPptr lp);

// Takes the scaling of the problem back.
int VNTLunscaleprob(VNTENVptr env, VNTLPptr lp);

// --- Steepest-edge norms --------------------------------------------------------------------
//
// Norms of the simplex pricing, which a later solve may start from.

// Stores the basis and the dual norms that belong to it.
int VNTLgetbasednorms(VNTENVptr env, VNTLPptr lp, int *cstat, int *rstat, double *dnorm);

// Sets the basis and the dual norms that belong to it.
int VNTLcopybasednorms(VNTENVptr env, VNTLPptr lp, const int *cstat, const int *rstat,
                       const double *dnorm);

// Stores the dual norms and the columns they belong to.  *len_p becomes their number.
int VNTLgetdnorms(VNTENVptr env, VNTLPptr lp, double *norm, int *head, int *len_p);

// Sets the dual norms of len columns.
int VNTLcopydnorms(VNTENVptr env, VNTLPptr lp, const double *norm, const int *head, int len);

// Deletes the dual norms.
int VNTLkilldnorms(VNTENVptr env, VNTLPptr lp);

// Stores the primal norms of columns and rows.  *len_p becomes the number of columns with one.
int VNTLgetpnorms(VNTENVptr env, VNTLPptr lp, double *cnorm, double *rnorm, int *len_p);

// Sets the primal norms of len columns and of all rows.
int VNTLcopypnorms(VNTENVptr env, VNTLPptr lp, const double *cnorm, const double *rnorm, int len);

// Deletes the primal norms.
int VNTLkillpnorms(VNTENVptr env, VNTLPptr lp);

// --- Presolve -------------------------------------------------------------------------------
//
// A presolved problem, and vectors between it and the original one.

// Presolves the problem for a method and keeps the result beside the problem.
int VNTLpresolve(VNTENVptr env, VNTLPptr lp, int method);

// Stores the bounds of columns that presolve tightened, and which rows it found redundant.
int VNTLbasicpresolve(VNTENVptr env, VNTLPptr lp, double *redlb, double *redub, int *rstat);

// Frees the presolved problem.
int VNTLfreepresolve(VNTENVptr env, VNTLPptr lp);

// Stores the presolved problem, null where there is none.  It belongs to the original one.
int VNTLgetredlp(VNTENVptr env, VNTLPptr lp, VNTLPptr *redlp_p);

// Adds rcnt rows in terms of the original columns to both problems.
int VNTLpreaddrows(VNTENVptr env, VNTLPptr lp, int rcnt, int64_t nzcnt, const double *rhs,
                   const char *sense, const int64_t *rmatbeg, const int *rmatind,
                   const double *rmatval, const char *const *rowname);

// Changes objective coefficients of the original columns in both problems.
int VNTLprechgobj(VNTENVptr env, VNTLPptr lp, int cnt, const int *indices, const double *values);

// Turns values of the original columns into values of the presolved ones.
int VNTLcrushx(VNTENVptr env, VNTLPptr lp, const double *x, double *prex);

// Turns values of the presolved columns into values of the original ones.
int VNTLuncrushx(VNTENVptr env, VNTLPptr lp, const double *prex, double *x);

// Turns prices of the original rows into prices of the presolved ones.
int VNTLcrushpi(VNTENVptr env, VNTLPptr lp, const double *pi, double *prepi);

// Turns prices of the presolved rows into prices of the original ones.
int VNTLuncrushpi(VNTENVptr env, VNTLPptr lp, const double *prepi, double *pi);

// Turns prices of the presolved rows into prices of the original ones at x, for a quadratic
// objective.
int VNTLqpuncrushpi(VNTENVptr env, VNTLPptr lp, const double *prepi, const double *x, double *pi);

// Turns a linear form of the original columns into one of the presolved columns and the constant
// *poffset_p.
int VNTLcrushform(VNTENVptr env, VNTLPptr lp, int len, const int *ind, const double *val,
                  int *plen_p, double *poffset_p, int *pind, double *pval);

// Stores what became of each original column and row, and from which original ones the presolved
// ones come.
int VNTLgetprestat(VNTENVptr env, VNTLPptr lp, int *prestat_p, int *pcstat, int *prstat,
                   int *ocstat, int *orstat);

// Sets the columns that presolve must leave in.
int VNTLcopyprotected(VNTENVptr env, VNTLPptr lp, int cnt, const int *indices);

// Stores the columns that presolve must leave in.  *cnt_p becomes their number.
int VNTLgetprotected(VNTENVptr env, VNTLPptr lp, int *cnt_p, int *indices, int pspace,
                     int *surplus_p);

// Returns the original index of column j of the presolved problem.
int VNTLEgetorigcolind(VNTENVptr env, VNTLPptr lp, int j);

// Returns the original index of row i of the presolved problem.
int VNTLEgetorigrowind(VNTENVptr env, VNTLPptr lp, int i);

// --- Several objectives ---------------------------------------------------------------------
//
// Objectives are numbered from 0.  They are optimised one priority after the other; those of one
// priority are added up by their weights. abstol and reltol say how much of one priority's result
// may be given up for those that follow.

// Returns the number of objectives.
int VNTLgetnumobjs(VNTENVptr env, VNTLPptr lp);

// Sets the number of objectives.
int VNTLsetnumobjs(VNTENVptr env, VNTLPptr lp, int n);

// Returns 1 if the problem has several objectives, else 0.
int VNTLEismultiobj(VNTENVptr env, VNTLPptr lp);

// Returns the number of different priorities.
int VNTLEgetnumprios(VNTENVptr env, VNTLPptr lp);

// Sets objective n: objnz coefficients and its attributes.
int VNTLmultiobjsetobj(VNTENVptr env, VNTLPptr lp, int n, int objnz, const int *objind,
                       const double *objval, double offset, double weight, int priority,
                       double abstol, double reltol, const char *objname);

// Stores the coefficients of columns begin to end in objective n, and its attributes.
int VNTLmultiobjgetobj(VNTENVptr env, VNTLPptr lp, int n, double *coeffs, double *offset_p,
                       double *weight_p, int *priority_p, double *abstol_p, double *reltol_p,
                       int begin, int end);

// Changes the attributes of an objective.
int VNTLmultiobjchgattribs(VNTENVptr env, VNTLPptr lp, int objind, double offset, double weight,
                           int priority, double abstol, double reltol, const char *name);

// Stores the name of an objective.
int VNTLmultiobjgetname(VNTENVptr env, VNTLPptr lp, int objind, char *buf_str, int64_t bufspace,
                        int64_t *surplus_p);

// Stores the index of the objective of that name.
int VNTLmultiobjgetindex(VNTENVptr env, VNTLPptr lp, const char *name, int *index_p);

// Stores the value of objective n in the solution.
int VNTLmultiobjgetobjval(VNTENVptr env, VNTLPptr lp, int n, double *objval_p);

// Stores the value of all objectives of a priority, weighted and added up, in the solution.
int VNTLmultiobjgetobjvalbypriority(VNTENVptr env, VNTLPptr lp, int priority, double *objval_p);

// Returns the number of subproblems that the last solve took.
int VNTLmultiobjgetnumsolves(VNTENVptr env, VNTLPptr lp);

// Stores a double that tells how one subproblem was solved.
int VNTLmultiobjgetdblinfo(VNTENVptr env, VNTLPptr lp, int subprob, double *info_p, int what);

// Stores an int that tells how one subproblem was solved.
int VNTLmultiobjgetintinfo(VNTENVptr env, VNTLPptr lp, int subprob, int *info_p, int what);

// Stores a long that tells how one subproblem was solved.
int VNTLmultiobjgetlonginfo(VNTENVptr env, VNTLPptr lp, int subprob, int64_t *info_p, int what);

// Stores a count that tells how one subproblem was solved.
int VNTLmultiobjgetcntinfo(VNTENVptr env, VNTLPptr lp, int subprob, int64_t *info_p, int what);

// Stores a size of one subproblem.
int VNTLmultiobjgetdiminfo(VNTENVptr env, VNTLPptr lp, int subprob, int *info_p, int what);

// --- Annotations ----------------------------------------------------------------------------
//
// Numbers on the objects of a problem, which no solve looks at.  Long and double ones are counted
// apart, from 0.  An object has an annotation's default value until it is given its own, which
// stays with it while others come and go. objtype is VNT_ANNOTATION_*.  Files look like this:
//
//     annotations of NAME
//     annotation long or double DEFAULT NAME
//     column, row, set or indicator VALUE NAME
//     objective VALUE
//     ...
//     end

// Adds a long annotation.  A name that is there already is refused with VNTERR_DUPLICATE_ENTRY.
int VNTLnewlongannotation(VNTENVptr env, VNTLPptr lp, const char *annotationname_str,
                          int64_t defval);

// Adds a double annotation.  A name that is there already is refused with VNTERR_DUPLICATE_ENTRY.
int VNTLnewdblannotation(VNTENVptr env, VNTLPptr lp, const char *annotationname_str, double defval);

// Deletes one long annotation.
int VNTLdellongannotation(VNTENVptr env, VNTLPptr lp, int idx);

// Deletes one double annotation.
int VNTLdeldblannotation(VNTENVptr env, VNTLPptr lp, int idx);

// Deletes long annotations begin to end.
int VNTLdellongannotations(VNTENVptr env, VNTLPptr lp, int begin, int end);

// Deletes double annotations begin to end.
int VNTLdeldblannotations(VNTENVptr env, VNTLPptr lp, int begin, int end);

// Returns the number of long annotations.
int VNTLgetnumlongannotations(VNTENVptr env, VNTLPptr lp);

// Returns the number of double annotations.
int VNTLgetnumdblannotations(VNTENVptr env, VNTLPptr lp);

// Stores the index of the long annotation of that name.
int VNTLgetlongannotationindex(VNTENVptr env, VNTLPptr lp, const char *annotationname_str,
                               int *index_p);

// Stores the index of the double annotation of that name.
int VNTLgetdblannotationindex(VNTENVptr env, VNTLPptr lp, const char *annotationname_str,
                              int *index_p);

// Stores the name of a long annotation.
int VNTLgetlongannotationname(VNTENVptr env, VNTLPptr lp, int idx, char *buf_str, int64_t bufspace,
                              int64_t *surplus_p);

// Stores the name of a double annotation.
int VNTLgetdblannotationname(VNTENVptr env, VNTLPptr lp, int idx, char *buf_str, int64_t bufspace,
                             int64_t *surplus_p);

// Stores the default value of a long annotation.
int VNTLgetlongannotationdefval(VNTENVptr env, VNTLPptr lp, int idx, int64_t *defval_p);

// Stores the default value of a double annotation.
int VNTLgetdblannotationdefval(VNTENVptr env, VNTLPptr lp, int idx, double *defval_p);

// Sets the values of long annotation idx on cnt objects of a type.
int VNTLsetlongannotations(VNTENVptr env, VNTLPptr lp, int idx, int objtype, int cnt,
                           const int *indices, const int64_t *values);

// Sets the values of double annotation idx on cnt objects of a type.
int VNTLsetdblannotations(VNTENVptr env, VNTLPptr lp, int idx, int objtype, int cnt,
                          const int *indices, const double *values);

// Stores the values of long annotation idx on objects begin to end of a type.
int VNTLgetlongannotations(VNTENVptr env, VNTLPptr lp, int idx, int objtype, int64_t *annotation,
                           int begin, int end);

// Stores the values of double annotation idx on objects begin to end of a type.
int VNTLgetdblannotations(VNTENVptr env, VNTLPptr lp, int idx, int objtype, double *annotation,
                          int begin, int end);

// Reads annotations from a file in place of all that are there.
int VNTEreadcopyannotations(VNTENVptr env, VNTLPptr lp, const char *filename, const char *contents,
                            int64_t length);

// Reads annotations as VNTEreadcopyannotations does.
int VNTLEreadcopyannotations(VNTENVptr env, VNTLPptr lp, const char *filename, const char *content,
                             int64_t length);

// Writes all annotations to a file.
int VNTLwriteannotations(VNTENVptr env, VNTLPptr lp, const char *filename);

// Writes a file with a decomposition as the long annotation "benders": 0 on discrete columns, and
// on the others the number, from 1, of their block.  Columns of different blocks share no row.
int VNTLwritebendersannotation(VNTENVptr env, VNTLPptr lp, const char *filename);

// --- Decomposed and distributed solves ------------------------------------------------------

// Solves a mixed-integer problem by Benders decomposition, along the annotation "benders" if it is
// there.
int VNTLbendersopt(VNTENVptr env, VNTLPptr lp);

// Solves a mixed-integer problem on the machines of the configuration.
int VNTLdistmipopt(VNTENVptr env, VNTLPptr lp);

// Sets the configuration of machines, an XML text.
int VNTLcopyvmconfig(VNTENVptr env, const char *xmlstr);

// Reads the configuration of machines from a file.
int VNTEreadcopyvmconfig(VNTENVptr env, const char *filename, const char *contents, int64_t length);

// Reads the configuration of machines as VNTEreadcopyvmconfig does.
int VNTLEreadcopyvmconfig(VNTENVptr env, const char *filename, const char *content, int64_t length);

// Stores 1 if there is a configuration of machines, else 0.
int VNTLEhasvmconfig(VNTENVptr env, int *hasconfig_p);

// Deletes the configuration of machines.
int VNTLdelvmconfig(VNTENVptr env);

// Takes up to num open nodes out of a running search: the estimate of each, the bounds and cuts
// that lead to it, and how many there are.
int VNTLEgrabnodes(VNTENVptr env, VNTLPptr lp, int64_t *nodecnt_p, double *est, int *bndcnt_p,
                   int *bndbeg, int *bndind, double *bndval, char *bndlu, int bndspace,
                   int *bndsurplus_p, int *cutcnt_p, int *cutbeg, double *cutrhs, char *cutsense,
                   int cutspace, int *cutsurplus_p, int64_t *cutnzcnt_p, int64_t *cutmatbeg,
                   int *cutmatind, double *cutmatval, int64_t cutmatspace, int64_t *cutmatsurplus_p,
                   int64_t num);

// Stores the bounds and cuts that hold in the whole of a running search.
int VNTLEgrabglobalinfo(VNTENVptr env, VNTLPptr lp, int *bndcnt_p, int *bndind, double *bndval,
                        char *bndlu, int bndspace, int *bndsurplus_p, int *cutcnt_p, double *cutrhs,
                        char *cutsense, int cutspace, int *cutsurplus_p, int64_t *cutnzcnt_p,
                        int64_t *cutmatbeg, int *cutmatind, double *cutmatval, int64_t cutmatspace,
                        int64_t *cutmatsurplus_p);

// Stores the cuts that are in force at the root of a running search.
int VNTLEgrabactivecuts(VNTENVptr env, VNTLPptr lp, int *cutcnt_p, int64_t *cutnnz_p,
                        int64_t *cutbeg, int *cutind, double *cutval, char *cutsense,
                        double *cutrhs, int cutspace, int *cutsurplus, int64_t nnzspace,
                        int64_t *nnzsurplus);

// Returns 1 if the solver is a promotional version, which takes problems of limited size only, else
// 0.  The three numbers are those of rows, columns and integer columns.
int VNTLEispromotion(VNTENVptr env, int rspace, int cspace, int ispace);

// --- Networks -------------------------------------------------------------------------------
//
// Nodes with supplies, arcs with bounds and costs.  What leaves a node less what enters it is its
// supply. dj = cost - pi of the arc's start + pi of its end.  Null arrays stand for supplies 0,
// lower bounds 0, upper bounds VNT_INFINITY, costs 0 and names that the solver makes.  Files are
// DIMACS files of minimum-cost flows.

// Creates an empty network and returns it, null on failure; *status_p then says why.
VNTNETptr VNTLNETcreateprob(VNTENVptr env, int *status_p, const char *name_str);

// Frees a network.  *net becomes null.
int VNTLNETfreeprob(VNTENVptr env, VNTNETptr *net);

// Replaces all that the network holds, apart from its name.
int VNTLNETcopynet(VNTENVptr env, VNTNETptr net, int objsen, int nnodes, const double *supply,
                   const char *const *nnames, int narcs, const int *fromnode, const int *tonode,
                   const double *low, const double *up, const double *obj,
                   const char *const *anames);

// Adds nodes.
int VNTLNETaddnodes(VNTENVptr env, VNTNETptr net, int nnodes, const double *supply,
                    const char *const *name);

// Adds arcs.
int VNTLNETaddarcs(VNTENVptr env, VNTNETptr net, int narcs, const int *fromnode, const int *tonode,
                   const double *low, const double *up, const double *obj,
                   const char *const *anames);

// Deletes nodes begin to end and all arcs at them.
int VNTLNETdelnodes(VNTENVptr env, VNTNETptr net, int begin, int end);

// Deletes arcs begin to end.
int VNTLNETdelarcs(VNTENVptr env, VNTNETptr net, int begin, int end);

// Deletes the nodes and arcs that are marked, and all arcs at these nodes.  Either array may be
// null.
int VNTLNETdelset(VNTENVptr env, VNTNETptr net, int *whichnodes, int *whicharcs);

// Renames an arc where key is 'a', a node where it is 'n'.
int VNTLNETchgname(VNTENVptr env, VNTNETptr net, int key, int vindex, const char *name_str);

// Renames cnt arcs.
int VNTLNETchgarcname(VNTENVptr env, VNTNETptr net, int cnt, const int *indices,
                      const char *const *newname);

// Renames cnt nodes.
int VNTLNETchgnodename(VNTENVptr env, VNTNETptr net, int cnt, const int *indices,
                       const char *const *newname);

// Changes the sense of the network's objective, VNT_MIN or VNT_MAX.
int VNTLNETchgobjsen(VNTENVptr env, VNTNETptr net, int maxormin);

// Changes cnt bounds of arcs. lu is L, U or B: the lower bound, the upper one, both.
int VNTLNETchgbds(VNTENVptr env, VNTNETptr net, int cnt, const int *indices, const char *lu,
                  const double *bd);

// Changes the start and the end of cnt arcs.
int VNTLNETchgarcnodes(VNTENVptr env, VNTNETptr net, int cnt, const int *indices,
                       const int *fromnode, const int *tonode);

// Changes the costs of cnt arcs.
int VNTLNETchgobj(VNTENVptr env, VNTNETptr net, int cnt, const int *indices, const double *obj);

// Changes the supplies of cnt nodes.
int VNTLNETchgsupply(VNTENVptr env, VNTNETptr net, int cnt, const int *indices,
                     const double *supply);

// Returns the sense of the objective, VNT_MIN or VNT_MAX, or 0 where there is no network.
int VNTLNETgetobjsen(VNTENVptr env, VNTNETptr net);

// Stores the supplies of nodes begin to end.
int VNTLNETgetsupply(VNTENVptr env, VNTNETptr net, double *supply, int begin, int end);

// Stores the name of the network.
int VNTLNETgetprobname(VNTENVptr env, VNTNETptr net, char *buf_str, int64_t bufspace,
                       int64_t *surplus_p);

// Stores the names of nodes begin to end in namestore, and in nnames where each begins.
int VNTLNETgetnodename(VNTENVptr env, VNTNETptr net, char **nnames, char *namestore,
                       int64_t namespc, int64_t *surplus_p, int begin, int end);

// Stores the names of arcs begin to end in namestore, and in nnames where each begins.
int VNTLNETgetarcname(VNTENVptr env, VNTNETptr net, char **nnames, char *namestore, int64_t namespc,
                      int64_t *surplus_p, int begin, int end);

// Stores the lower bounds of arcs begin to end.
int VNTLNETgetlb(VNTENVptr env, VNTNETptr net, double *low, int begin, int end);

// Stores the upper bounds of arcs begin to end.
int VNTLNETgetub(VNTENVptr env, VNTNETptr net, double *up, int begin, int end);

// Stores the costs of arcs begin to end.
int VNTLNETgetobj(VNTENVptr env, VNTNETptr net, double *obj, int begin, int end);

// Stores the starts and the ends of arcs begin to end.
int VNTLNETgetarcnodes(VNTENVptr env, VNTNETptr net, int *fromnode, int *tonode, int begin,
                       int end);

// Stores the arcs at nodes begin to end, both those that leave and those that enter.  *arccnt_p
// becomes their number.
int VNTLNETgetnodearcs(VNTENVptr env, VNTNETptr net, int *arccnt_p, int *arcbeg, int *arc,
                       int arcspace, int *surplus_p, int begin, int end);

// Returns the number of nodes.
int VNTLNETgetnumnodes(VNTENVptr env, VNTNETptr net);

// Returns the number of arcs.
int VNTLNETgetnumarcs(VNTENVptr env, VNTNETptr net);

// Stores the index of the node of that name.
int VNTLNETgetnodeindex(VNTENVptr env, VNTNETptr net, const char *lname_str, int *index_p);

// Stores the index of the arc of that name.
int VNTLNETgetarcindex(VNTENVptr env, VNTNETptr net, const char *lname_str, int *index_p);

// Solves the network.  Returns 0 when the solve ended, however it ended: VNTLNETgetstat tells how.
// Basic flows are whole where supplies and bounds are.
int VNTLNETprimopt(VNTENVptr env, VNTNETptr net);

// Returns how the last solve of the network ended, VNT_STAT_*.
int VNTLNETgetstat(VNTENVptr env, VNTNETptr net);

// Stores 1 for each of primal and dual feasible, else 0.
int VNTLNETsolninfo(VNTENVptr env, VNTNETptr net, int *pfeasind_p, int *dfeasind_p);

// Stores status, objective, flows, prices, slacks and reduced costs of the last solve at once.
int VNTLNETsolution(VNTENVptr env, VNTNETptr net, int *netstat_p, double *objval_p, double *x,
                    double *pi, double *slack, double *dj);

// Stores the cost of the flow, the objective value.
int VNTLNETgetobjval(VNTENVptr env, VNTNETptr net, double *objval_p);

// Stores the flows on arcs begin to end.
int VNTLNETgetx(VNTENVptr env, VNTNETptr net, double *x, int begin, int end);

// Stores the prices of nodes begin to end.
int VNTLNETgetpi(VNTENVptr env, VNTNETptr net, double *pi, int begin, int end);

// Stores supply minus what leaves plus what enters, for nodes begin to end.
int VNTLNETgetslack(VNTENVptr env, VNTNETptr net, double *slack, int begin, int end);

// Stores the reduced costs of arcs begin to end.
int VNTLNETgetdj(VNTENVptr env, VNTNETptr net, double *dj, int begin, int end);

// Returns the number of simplex iterations of the last solve.
int64_t VNTLNETgetitcnt(VNTENVptr env, VNTNETptr net);

// Returns the number of simplex iterations of the last solve before a feasible flow.
int64_t VNTLNETgetphase1cnt(VNTENVptr env, VNTNETptr net);

// Sets the basis from which the next solve starts: a status VNT_BASIS_* for each arc and node.
int VNTLNETcopybase(VNTENVptr env, VNTNETptr net, const int *astat, const int *nstat);

// Stores the basis: a status VNT_BASIS_* for each arc and node.
int VNTLNETgetbase(VNTENVptr env, VNTNETptr net, int *astat, int *nstat);

// Reads a network from a file in place of the one that is there.
int VNTENETreadcopyprob(VNTENVptr env, VNTNETptr net, const char *filename_str,
                        const char *contents, int64_t length);

// Writes the network to a file of the type "min".  Names are not written, and the warning channel
// says so.
int VNTLNETwriteprob(VNTENVptr env, VNTNETptr net, const char *filename_str,
                     const char *format_str);

// Reads a basis of the network from a file.
int VNTENETreadcopybase(VNTENVptr env, VNTNETptr net, const char *filename_str,
                        const char *contents, int64_t length);

// Writes the basis of the network to a file.
int VNTLNETbasewrite(VNTENVptr env, VNTNETptr net, const char *filename_str);

// Replaces a problem by the linear problem of a network, with its basis if it has one.
int VNTLcopynettolp(VNTENVptr env, VNTLPptr lp, VNTNETptr net);

// Replaces a network by one that is found in a problem. colmap tells the column of each arc, -1 - i
// for the slack of row i, and rowmap the row of each node, -1 for the node that stands for no row.
int VNTLNETextract(VNTENVptr env, VNTNETptr net, VNTLPptr lp, int *colmap, int *rowmap);

#if defined(__GNUC__)
#pragma GCC visibility pop
#endif

#ifdef __cplusplus
}
#endif

#endif
