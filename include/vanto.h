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
// Errors: a call returns 0 or one of VNTERR_*, unless its comment says that it returns a count or
// a value; such calls return 0 when there is nothing to count.  What a failing call was to write
// is unspecified, surplus_p excepted.

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

// Freeing problems: the variable is set to null when the object is gone.
int VNTLfreeprob(VNTENVptr env, VNTLPptr *lp);
int VNTLNETfreeprob(VNTENVptr env, VNTNETptr *net);

// Extended calls: relaxation, general constraints, ranging, names.
int VNTLEfeasopt(VNTENVptr env, VNTLPptr lp, const double *rhs, const double *rng, const double *lb,
                 const double *ub, const double *qrhs);
int VNTLEaddpwl(VNTENVptr env, VNTLPptr lp, int y, int npoints, const double *point, int nslopes,
                const double *slope, double a, double b, int x, const char *lname_str);
int VNTLEaddminexpr(VNTENVptr env, VNTLPptr lp, int y, double constant, int nexpr, int64_t nnz,
                    const int64_t *matbeg, const int *matind, const double *matval,
                    const char *lname_str);
int VNTLEaddmaxexpr(VNTENVptr env, VNTLPptr lp, int y, double constant, int nexpr, int64_t nnz,
                    const int64_t *matbeg, const int *matind, const double *matval,
                    const char *lname_str);
int VNTLEaddabs(VNTENVptr env, VNTLPptr lp, int y, int x, const char *lname_str);
int VNTLEgetnumgconstrs(VNTENVptr env, VNTLPptr lp, int contype);
int VNTLEdelgconstrs(VNTENVptr env, VNTLPptr lp, int contype, int beg, int end);
int64_t VNTLEgetnumrownz(VNTENVptr env, VNTLPptr lp, const int *mark);
int VNTLErangesa(VNTENVptr env, VNTLPptr lp, double *lblower, double *lbupper, double *ublower,
                 double *ubupper, int begin, int end);
int VNTLEgetnulbytes(VNTENVptr env, int *nulbytes_p);
int VNTLEchgqcname(VNTENVptr env, VNTLPptr lp, int cnt, const int *indices,
                   const char *const *newname);
int VNTLEchgsosname(VNTENVptr env, VNTLPptr lp, int cnt, const int *indices,
                    const char *const *newname);
int VNTLEencodedstrparam(VNTENVptr env, int paramnum, int *isencoded_p);

// Barrier, with a crossover method of 0 (the default), 1 (primal) or 2 (dual).
int VNTLhybbaropt(VNTENVptr env, VNTLPptr lp, int method);
int VNTLbaropt(VNTENVptr env, VNTLPptr lp);

// Creating problems and filling them.  Column-wise data: matbeg and matcnt have one
// element per column, matind and matval reach as far as these say.
VNTLPptr VNTLcreateprob(VNTENVptr env, int *status_p, const char *probname_str);
VNTLPptr VNTLcloneprob(VNTENVptr env, VNTLPptr lp, int *status_p);
int VNTLcopylpwnames(VNTENVptr env, VNTLPptr lp, int numcols, int numrows, int objsense,
                     const double *objective, const double *rhs, const char *sense,
                     const int64_t *matbeg, const int *matcnt, const int *matind,
                     const double *matval, const double *lb, const double *ub, const double *rngval,
                     const char *const *colname, const char *const *rowname);
int VNTLcopylp(VNTENVptr env, VNTLPptr lp, int numcols, int numrows, int objsense,
               const double *objective, const double *rhs, const char *sense, const int64_t *matbeg,
               const int *matcnt, const int *matind, const double *matval, const double *lb,
               const double *ub, const double *rngval);
int VNTLcopyobjname(VNTENVptr env, VNTLPptr lp, const char *objname_str);

// Bases and starting points.  cstat and cprim have one element per column, rstat and
// rprim one per row; a basis status is VNT_BASIS_*.
int VNTLcopybase(VNTENVptr env, VNTLPptr lp, const int *cstat, const int *rstat);
int VNTLcleanup(VNTENVptr env, VNTLPptr lp, double eps);
int VNTLcopystart(VNTENVptr env, VNTLPptr lp, const int *cstat, const int *rstat,
                  const double *cprim, const double *rprim, const double *cdual,
                  const double *rdual);

// Between problems and networks.
int VNTLcopynettolp(VNTENVptr env, VNTLPptr lp, VNTNETptr net);
int VNTLNETextract(VNTENVptr env, VNTNETptr net, VNTLPptr lp, int *colmap, int *rowmap);

// Solving continuous problems.  They return 0 when the solve ended, however it ended:
// VNTLgetstat tells how.  The method of VNTLhybnetopt is VNT_METHOD_PRIMAL, _DUAL or _BARRIER.
int VNTLlpopt(VNTENVptr env, VNTLPptr lp);
int VNTLprimopt(VNTENVptr env, VNTLPptr lp);
int VNTLdualopt(VNTENVptr env, VNTLPptr lp);
int VNTLhybnetopt(VNTENVptr env, VNTLPptr lp, int method);
int VNTLsiftopt(VNTENVptr env, VNTLPptr lp);

// Simplex steps by hand.
int VNTLpratio(VNTENVptr env, VNTLPptr lp, int *indices, int cnt, double *downratio,
               double *upratio, int *downleave, int *upleave, int *downleavestatus,
               int *upleavestatus, int *downstatus, int *upstatus);
int VNTLdratio(VNTENVptr env, VNTLPptr lp, int *indices, int cnt, double *downratio,
               double *upratio, int *downenter, int *upenter, int *downstatus, int *upstatus);
int VNTLpivot(VNTENVptr env, VNTLPptr lp, int jenter, int jleave, int leavestat);
int VNTLsetphase2(VNTENVptr env, VNTLPptr lp);
int VNTLcheckpfeas(VNTENVptr env, VNTLPptr lp, int *infeas_p);
int VNTLcheckdfeas(VNTENVptr env, VNTLPptr lp, int *infeas_p);

// The solution.  Ranges are inclusive: begin to end gives end - begin + 1 elements, none where end
// is before begin.  A slack is right-hand side minus activity.
int VNTLsolution(VNTENVptr env, VNTLPptr lp, int *lpstat_p, double *objval_p, double *x, double *pi,
                 double *slack, double *dj);
int VNTLsolninfo(VNTENVptr env, VNTLPptr lp, int *solnmethod_p, int *solntype_p, int *pfeasind_p,
                 int *dfeasind_p);
int VNTLgetstat(VNTENVptr env, VNTLPptr lp);
int VNTLgetmethod(VNTENVptr env, VNTLPptr lp);
int VNTLgetobjval(VNTENVptr env, VNTLPptr lp, double *objval_p);
int VNTLgetx(VNTENVptr env, VNTLPptr lp, double *x, int begin, int end);
int VNTLgetax(VNTENVptr env, VNTLPptr lp, double *x, int begin, int end);
int VNTLgetpi(VNTENVptr env, VNTLPptr lp, double *pi, int begin, int end);
int VNTLgetslack(VNTENVptr env, VNTLPptr lp, double *slack, int begin, int end);
int VNTLgetrowinfeas(VNTENVptr env, VNTLPptr lp, const double *x, double *infeasout, int begin,
                     int end);
int VNTLgetcolinfeas(VNTENVptr env, VNTLPptr lp, const double *x, double *infeasout, int begin,
                     int end);
int VNTLgetdj(VNTENVptr env, VNTLPptr lp, double *dj, int begin, int end);
int VNTLgetgrad(VNTENVptr env, VNTLPptr lp, int j, int *head, double *y);
// The row or column, the other -1, that ran away when the problem proved unbounded.
int VNTLgetijdiv(VNTENVptr env, VNTLPptr lp, int *idiv_p, int *jdiv_p);

// The basis.
int VNTLgetbase(VNTENVptr env, VNTLPptr lp, int *cstat, int *rstat);

// Iteration counts of the last solve.
int64_t VNTLgetitcnt(VNTENVptr env, VNTLPptr lp);
int64_t VNTLgetphase1cnt(VNTENVptr env, VNTLPptr lp);
int64_t VNTLgetsiftitcnt(VNTENVptr env, VNTLPptr lp);
int64_t VNTLgetsiftphase1cnt(VNTENVptr env, VNTLPptr lp);
int64_t VNTLgetbaritcnt(VNTENVptr env, VNTLPptr lp);
int64_t VNTLgetcrossppushcnt(VNTENVptr env, VNTLPptr lp);
int64_t VNTLgetcrosspexchcnt(VNTENVptr env, VNTLPptr lp);
int64_t VNTLgetcrossdpushcnt(VNTENVptr env, VNTLPptr lp);
int64_t VNTLgetcrossdexchcnt(VNTENVptr env, VNTLPptr lp);
int VNTLgetpsbcnt(VNTENVptr env, VNTLPptr lp);
int VNTLgetdsbcnt(VNTENVptr env, VNTLPptr lp);

// Quality of a solution; what is VNT_QUALITY_*.
int VNTLgetdblquality(VNTENVptr env, VNTLPptr lp, double *quality_p, int what);
int VNTLgetsolnpooldblquality(VNTENVptr env, VNTLPptr lp, int soln, double *quality_p, int what);
int VNTLgetintquality(VNTENVptr env, VNTLPptr lp, int *quality_p, int what);
int VNTLgetsolnpoolintquality(VNTENVptr env, VNTLPptr lp, int soln, int *quality_p, int what);

// Sensitivity: between what ends one number of the problem may go, all others as they are, while
// the basis of the solution stays optimal.  Ends of VNT_INFINITY and more are no ends.  The
// problem is continuous and solved to a basis; VNTLErangesa tells of the bounds of rows as
// VNTLboundsa of those of columns.
int VNTLrhssa(VNTENVptr env, VNTLPptr lp, double *lower, double *upper, int begin, int end);
int VNTLboundsa(VNTENVptr env, VNTLPptr lp, double *lblower, double *lbupper, double *ublower,
                double *ubupper, int begin, int end);
int VNTLobjsa(VNTENVptr env, VNTLPptr lp, double *lower, double *upper, int begin, int end);

// Conflicts: parts of an infeasible problem that are infeasible by themselves.  VNTLrefineconflict
// looks among all rows and bounds; the others among groups of constraints, while what is in no
// group always holds.  Group k has the members grpbeg[k] on, up to the next group's; grptype is
// VNT_CONSTRAINT_*.  The higher the preference of a group, the later it is left out; 0 never leaves
// it out, a negative one always.  Bounds of semi-continuous columns and of those that indicators
// ask always hold.  A search of more than 5000 nodes, or of 100 where integer columns lack a bound,
// leaves its question undecided.  The conflict stays until the problem changes or is solved.
int VNTLrefineconflict(VNTENVptr env, VNTLPptr lp, int *confnumrows_p, int *confnumcols_p);
int VNTLrefineconflictext(VNTENVptr env, VNTLPptr lp, int64_t grpcnt, int64_t concnt,
                          const double *grppref, const int64_t *grpbeg, const int *grpind,
                          const char *grptype);
int VNTLgetconflictext(VNTENVptr env, VNTLPptr lp, int *grpstat, int64_t beg, int64_t end);

// Writing the conflict, as an LP file without an objective.
int VNTLclpwrite(VNTENVptr env, VNTLPptr lp, const char *filename_str);

// Cheapest relaxation of an infeasible problem: a solution that violates what has a preference
// above 0, as little as possible; see VNT_PARAM_FEASOPT_MODE.  Null arrays have none.  rhs is for
// rows at their right-hand side, rng for the other end of ranged rows, lb and ub for bounds.  The
// answer is a solution without basis and prices, its objective the problem's own; VNTLgetrowinfeas
// and VNTLgetcolinfeas tell what it violates.  VNTLgetstat is VNT_STAT_RELAXED or
// VNT_STAT_RELAXED_OPTIMAL, VNT_STAT_INFEASIBLE where too little may give way.
int VNTLfeasopt(VNTENVptr env, VNTLPptr lp, const double *rhs, const double *rng, const double *lb,
                const double *ub);
int VNTLfeasoptext(VNTENVptr env, VNTLPptr lp, int grpcnt, int64_t concnt, const double *grppref,
                   const int64_t *grpbeg, const int *grpind, const char *grptype);

// Rows and columns: adding, deleting, renaming, changing.  A null name list leaves names
// to the solver; sense is one of L, E, G, R, xctype one of C, B, I, S, N, lu one of L, U, B.
int VNTLnewrows(VNTENVptr env, VNTLPptr lp, int rcnt, const double *rhs, const char *sense,
                const double *rngval, const char *const *rowname);
int VNTLaddrows(VNTENVptr env, VNTLPptr lp, int ccnt, int rcnt, int64_t nzcnt, const double *rhs,
                const char *sense, const int64_t *rmatbeg, const int *rmatind,
                const double *rmatval, const char *const *colname, const char *const *rowname);
int VNTLnewcols(VNTENVptr env, VNTLPptr lp, int ccnt, const double *obj, const double *lb,
                const double *ub, const char *xctype, const char *const *colname);
int VNTLaddcols(VNTENVptr env, VNTLPptr lp, int ccnt, int64_t nzcnt, const double *obj,
                const int64_t *cmatbeg, const int *cmatind, const double *cmatval, const double *lb,
                const double *ub, const char *const *colname);
int VNTLdelrows(VNTENVptr env, VNTLPptr lp, int begin, int end);
int VNTLdelsetrows(VNTENVptr env, VNTLPptr lp, int *delstat);
int VNTLdelcols(VNTENVptr env, VNTLPptr lp, int begin, int end);
int VNTLdelsetcols(VNTENVptr env, VNTLPptr lp, int *delstat);
int VNTLchgname(VNTENVptr env, VNTLPptr lp, int key, int ij, const char *newname_str);
int VNTLchgrowname(VNTENVptr env, VNTLPptr lp, int cnt, const int *indices,
                   const char *const *newname);
int VNTLchgcolname(VNTENVptr env, VNTLPptr lp, int cnt, const int *indices,
                   const char *const *newname);
int VNTLdelnames(VNTENVptr env, VNTLPptr lp);
int VNTLchgprobname(VNTENVptr env, VNTLPptr lp, const char *probname);
int VNTLchgcoef(VNTENVptr env, VNTLPptr lp, int i, int j, double newvalue);
int VNTLchgcoeflist(VNTENVptr env, VNTLPptr lp, int64_t numcoefs, const int *rowlist,
                    const int *collist, const double *vallist);
int VNTLchgbds(VNTENVptr env, VNTLPptr lp, int cnt, const int *indices, const char *lu,
               const double *bd);
int VNTLchgobj(VNTENVptr env, VNTLPptr lp, int cnt, const int *indices, const double *values);
int VNTLchgrhs(VNTENVptr env, VNTLPptr lp, int cnt, const int *indices, const double *values);
int VNTLchgrngval(VNTENVptr env, VNTLPptr lp, int cnt, const int *indices, const double *values);
int VNTLchgsense(VNTENVptr env, VNTLPptr lp, int cnt, const int *indices, const char *sense);
int VNTLchgobjsen(VNTENVptr env, VNTLPptr lp, int maxormin);
int VNTLchgprobtype(VNTENVptr env, VNTLPptr lp, int type);
int VNTLchgprobtypesolnpool(VNTENVptr env, VNTLPptr lp, int type, int soln);
int VNTLcompletelp(VNTENVptr env, VNTLPptr lp);

// Changing a presolved problem.
int VNTLpreaddrows(VNTENVptr env, VNTLPptr lp, int rcnt, int64_t nzcnt, const double *rhs,
                   const char *sense, const int64_t *rmatbeg, const int *rmatind,
                   const double *rmatval, const char *const *rowname);
int VNTLprechgobj(VNTENVptr env, VNTLPptr lp, int cnt, const int *indices, const double *values);

// Queries of the model.  A query of variable length reports in surplus_p how much more
// space it would have used, as a negative number, and then returns VNTERR_SPACE_TOO_SMALL.
int VNTLgetnumcols(VNTENVptr env, VNTLPptr lp);
int VNTLgetnumrows(VNTENVptr env, VNTLPptr lp);
int64_t VNTLgetnumnz(VNTENVptr env, VNTLPptr lp);
int VNTLgetobjsen(VNTENVptr env, VNTLPptr lp);
int VNTLgetobj(VNTENVptr env, VNTLPptr lp, double *obj, int begin, int end);
int VNTLgetrhs(VNTENVptr env, VNTLPptr lp, double *rhs, int begin, int end);
int VNTLgetsense(VNTENVptr env, VNTLPptr lp, char *sense, int begin, int end);
int VNTLgetcols(VNTENVptr env, VNTLPptr lp, int64_t *nzcnt_p, int64_t *cmatbeg, int *cmatind,
                double *cmatval, int64_t cmatspace, int64_t *surplus_p, int begin, int end);
int VNTLgetrows(VNTENVptr env, VNTLPptr lp, int64_t *nzcnt_p, int64_t *rmatbeg, int *rmatind,
                double *rmatval, int64_t rmatspace, int64_t *surplus_p, int begin, int end);
int VNTLgetlb(VNTENVptr env, VNTLPptr lp, double *lb, int begin, int end);
int VNTLgetub(VNTENVptr env, VNTLPptr lp, double *ub, int begin, int end);
int VNTLgetrngval(VNTENVptr env, VNTLPptr lp, double *rngval, int begin, int end);
int VNTLgetprobname(VNTENVptr env, VNTLPptr lp, char *buf_str, int64_t bufspace,
                    int64_t *surplus_p);
int VNTLgetobjname(VNTENVptr env, VNTLPptr lp, char *buf_str, int64_t bufspace, int64_t *surplus_p);
int VNTLgetcolname(VNTENVptr env, VNTLPptr lp, char **name, char *namestore, int64_t storespace,
                   int64_t *surplus_p, int begin, int end);
int VNTLgetrowname(VNTENVptr env, VNTLPptr lp, char **name, char *namestore, int64_t storespace,
                   int64_t *surplus_p, int begin, int end);
int VNTLgetcoef(VNTENVptr env, VNTLPptr lp, int i, int j, double *coef_p);
int VNTLgetrowindex(VNTENVptr env, VNTLPptr lp, const char *lname_str, int *index_p);
int VNTLgetcolindex(VNTENVptr env, VNTLPptr lp, const char *lname_str, int *index_p);
int VNTLgetprobtype(VNTENVptr env, VNTLPptr lp);

// Reading files.  The solver reads the length bytes at contents; where contents is null it
// opens the file itself.  The name serves messages and, without a filetype, the choice of format.
// A solution becomes the start of the next solve: the MIP starts, or else a basis near it.
int VNTEreadcopyprob(VNTENVptr env, VNTLPptr lp, const char *filename_str, const char *contents,
                     int64_t length, const char *filetype);
int VNTEreadcopybase(VNTENVptr env, VNTLPptr lp, const char *filename_str, const char *contents,
                     int64_t length);
int VNTEreadcopysol(VNTENVptr env, VNTLPptr lp, const char *filename_str, const char *contents,
                    int64_t length);

// Writing files.
int VNTLwriteprob(VNTENVptr env, VNTLPptr lp, const char *filename_str, const char *filetype);
int VNTLmbasewrite(VNTENVptr env, VNTLPptr lp, const char *filename_str);
int VNTLsolwrite(VNTENVptr env, VNTLPptr lp, const char *filename_str);
int VNTLsolwritesolnpool(VNTENVptr env, VNTLPptr lp, int soln, const char *filename_str);
int VNTLsolwritesolnpoolall(VNTENVptr env, VNTLPptr lp, const char *filename_str);
int VNTLembwrite(VNTENVptr env, VNTLPptr lp, const char *filename_str);
int VNTLdperwrite(VNTENVptr env, VNTLPptr lp, const char *filename_str, double epsilon);
int VNTLpperwrite(VNTENVptr env, VNTLPptr lp, const char *filename_str, double epsilon);
int VNTLpreslvwrite(VNTENVptr env, VNTLPptr lp, const char *filename_str, double *objoff_p);
int VNTLdualwrite(VNTENVptr env, VNTLPptr lp, const char *filename_str, double *objshift_p);

// Parameters; whichparam is VNT_PARAM_*.  Texts and names need room for 4096 bytes, their
// terminator included.
int VNTLsetdefaults(VNTENVptr env);
int VNTLsetintparam(VNTENVptr env, int whichparam, int newvalue);
int VNTLsetlongparam(VNTENVptr env, int whichparam, int64_t newvalue);
int VNTLsetdblparam(VNTENVptr env, int whichparam, double newvalue);
int VNTLsetstrparam(VNTENVptr env, int whichparam, const char *newvalue_str);
int VNTLgetintparam(VNTENVptr env, int whichparam, int *value_p);
int VNTLgetlongparam(VNTENVptr env, int whichparam, int64_t *value_p);
int VNTLgetdblparam(VNTENVptr env, int whichparam, double *value_p);
int VNTLgetstrparam(VNTENVptr env, int whichparam, char *value_str);
int VNTLinfointparam(VNTENVptr env, int whichparam, int *defvalue_p, int *minvalue_p,
                     int *maxvalue_p);
int VNTLinfolongparam(VNTENVptr env, int whichparam, int64_t *defvalue_p, int64_t *minvalue_p,
                      int64_t *maxvalue_p);
int VNTLinfodblparam(VNTENVptr env, int whichparam, double *defvalue_p, double *minvalue_p,
                     double *maxvalue_p);
int VNTLinfostrparam(VNTENVptr env, int whichparam, char *defvalue_str);
int VNTLgetparamname(VNTENVptr env, int whichparam, char *name_str);
int VNTLgetparamnum(VNTENVptr env, const char *name_str, int *whichparam_p);
int VNTLgetparamtype(VNTENVptr env, int whichparam, int *paramtype);

// Parameter files and tuning.
int VNTEreadcopyparam(VNTENVptr env, const char *filename_str, const char *contents,
                      int64_t length);
int VNTLwriteparam(VNTENVptr env, const char *filename_str);
int VNTLgetchgparam(VNTENVptr env, int *cnt_p, int *paramnum, int pspace, int *surplus_p);
int VNTLtuneparam(VNTENVptr env, VNTLPptr lp, int intcnt, const int *intnum, const int *intval,
                  int dblcnt, const int *dblnum, const double *dblval, int strcnt,
                  const int *strnum, const char *const *strval, int *tunestat_p);

// The tableau of the basis.  The basis matrix B has one column for each row of the problem: that
// of a basic column, or a unit column for the slack of row i, which head counts as -1 - i.  Rows
// and columns of B^-1 are in this order.  binvcol and binvrow tell of B^-1, binvacol and binvarow
// of B^-1 A, ftran turns x into B^-1 x and btran y into y B^-1, getgrad tells head and B^-1 times
// column j. getijrow tells the place of a column or, with a negative j, of a row's slack, -1 where
// it is not basic.  mdleave: by how much the objective worsens at first for each unit that a basic
// column is forced down or up.  strongbranch: the objective after at most itlim dual steps with a
// column below its value, and above it, at the next integer; VNT_INFINITY, for a maximum negative,
// where that is infeasible.  After a limit or a stop the rest get the objective as it is.
int VNTLgetbhead(VNTENVptr env, VNTLPptr lp, int *head, double *x);
int VNTLbinvcol(VNTENVptr env, VNTLPptr lp, int j, double *x);
int VNTLbinvrow(VNTENVptr env, VNTLPptr lp, int i, double *y);
int VNTLbinvacol(VNTENVptr env, VNTLPptr lp, int j, double *x);
int VNTLbinvarow(VNTENVptr env, VNTLPptr lp, int i, double *z);
int VNTLftran(VNTENVptr env, VNTLPptr lp, double *x);
int VNTLbtran(VNTENVptr env, VNTLPptr lp, double *y);
int VNTLgetijrow(VNTENVptr env, VNTLPptr lp, int i, int j, int *row_p);
int VNTLgetray(VNTENVptr env, VNTLPptr lp, double *z);
int VNTLmdleave(VNTENVptr env, VNTLPptr lp, const int *indices, int cnt, double *downratio,
                double *upratio);
int VNTLstrongbranch(VNTENVptr env, VNTLPptr lp, const int *indices, int cnt, double *downobj,
                     double *upobj, int64_t itlim);
int VNTLdualfarkas(VNTENVptr env, VNTLPptr lp, double *y, double *proof_p);

// The constant of the objective.
int VNTLgetobjoffset(VNTENVptr env, VNTLPptr lp, double *objoffset_p);

// Steepest-edge norms.
int VNTLgetbasednorms(VNTENVptr env, VNTLPptr lp, int *cstat, int *rstat, double *dnorm);
int VNTLcopybasednorms(VNTENVptr env, VNTLPptr lp, const int *cstat, const int *rstat,
                       const double *dnorm);
int VNTLgetdnorms(VNTENVptr env, VNTLPptr lp, double *norm, int *head, int *len_p);
int VNTLcopydnorms(VNTENVptr env, VNTLPptr lp, const double *norm, const int *head, int len);
int VNTLkilldnorms(VNTENVptr env, VNTLPptr lp);
int VNTLgetpnorms(VNTENVptr env, VNTLPptr lp, double *cnorm, double *rnorm, int *len_p);
int VNTLcopypnorms(VNTENVptr env, VNTLPptr lp, const double *cnorm, const double *rnorm, int len);
int VNTLkillpnorms(VNTENVptr env, VNTLPptr lp);

// Steering and checking the simplex.
int VNTLpivotin(VNTENVptr env, VNTLPptr lp, const int *rlist, int rlen);
int VNTLpivotout(VNTENVptr env, VNTLPptr lp, const int *clist, int clen);
// VNTLchecksoln holds the last solution against the problem.  lpstatus_p is its status where the
// solution is what that says, else VNT_STAT_NUMERICAL; the warning channel tells what is violated.
int VNTLchecksoln(VNTENVptr env, VNTLPptr lp, int *lpstatus_p);
int VNTLunscaleprob(VNTENVptr env, VNTLPptr lp);
int VNTLtightenbds(VNTENVptr env, VNTLPptr lp, int cnt, const int *indices, const char *lu,
                   const double *bd);

// Presolve, and vectors between the original and the presolved problem.
int VNTLpresolve(VNTENVptr env, VNTLPptr lp, int method);
int VNTLbasicpresolve(VNTENVptr env, VNTLPptr lp, double *redlb, double *redub, int *rstat);
int VNTLslackfromx(VNTENVptr env, VNTLPptr lp, const double *x, double *slack);
int VNTLdjfrompi(VNTENVptr env, VNTLPptr lp, const double *pi, double *dj);
int VNTLqpdjfrompi(VNTENVptr env, VNTLPptr lp, const double *pi, const double *x, double *dj);
int VNTLfreepresolve(VNTENVptr env, VNTLPptr lp);
int VNTLcrushx(VNTENVptr env, VNTLPptr lp, const double *x, double *prex);
int VNTLuncrushx(VNTENVptr env, VNTLPptr lp, const double *prex, double *x);
int VNTLcrushpi(VNTENVptr env, VNTLPptr lp, const double *pi, double *prepi);
int VNTLuncrushpi(VNTENVptr env, VNTLPptr lp, const double *prepi, double *pi);
int VNTLqpuncrushpi(VNTENVptr env, VNTLPptr lp, const double *prepi, const double *x, double *pi);
int VNTLcrushform(VNTENVptr env, VNTLPptr lp, int len, const int *ind, const double *val,
                  int *plen_p, double *poffset_p, int *pind, double *pval);
int VNTLgetprestat(VNTENVptr env, VNTLPptr lp, int *prestat_p, int *pcstat, int *prstat,
                   int *ocstat, int *orstat);
int VNTLcopyprotected(VNTENVptr env, VNTLPptr lp, int cnt, const int *indices);
int VNTLgetprotected(VNTENVptr env, VNTLPptr lp, int *cnt_p, int *indices, int pspace,
                     int *surplus_p);

// The machine and the clock.  Times are in seconds, deterministic times in ticks.
int VNTLgetnumcores(VNTENVptr env, int *numcores_p);
int VNTLgettime(VNTENVptr env, double *timestamp_p);
int VNTLgetdettime(VNTENVptr env, double *dettimestamp_p);

// Discrete structure: indicator constraints, column types, priorities, sets, starts.
int VNTLaddindconstr(VNTENVptr env, VNTLPptr lp, int indvar, int complemented, int nzcnt,
                     double rhs, int sense, const int *linind, const double *linval,
                     const char *indname_str);
int VNTLcopyctype(VNTENVptr env, VNTLPptr lp, const char *xctype);
int VNTLcopyorder(VNTENVptr env, VNTLPptr lp, int cnt, const int *indices, const int *priority,
                  const int *direction);
int VNTLcopysos(VNTENVptr env, VNTLPptr lp, int numsos, int64_t numsosnz, const char *sostype,
                const int64_t *sosbeg, const int *sosind, const double *soswt,
                const char *const *sosname);
int VNTLchgmipstarts(VNTENVptr env, VNTLPptr lp, int mcnt, const int *mipstartindices,
                     int64_t nzcnt, const int64_t *beg, const int *varindices, const double *values,
                     const int *effortlevel);
int VNTLaddmipstarts(VNTENVptr env, VNTLPptr lp, int mcnt, int64_t nzcnt, const int64_t *beg,
                     const int *varindices, const double *values, const int *effortlevel,
                     const char *const *mipstartname);
int VNTLdelmipstarts(VNTENVptr env, VNTLPptr lp, int begin, int end);
int VNTLdelsetmipstarts(VNTENVptr env, VNTLPptr lp, int *delstat);
int VNTLrefinemipstartconflict(VNTENVptr env, VNTLPptr lp, int mipstartindex, int *confnumrows_p,
                               int *confnumcols_p);
int VNTLrefinemipstartconflictext(VNTENVptr env, VNTLPptr lp, int mipstartindex, int64_t grpcnt,
                                  int64_t concnt, const double *grppref, const int64_t *grpbeg,
                                  const int *grpind, const char *grptype);

// Solving mixed-integer problems, and what the search has to tell.
int VNTLmipopt(VNTENVptr env, VNTLPptr lp);
int64_t VNTLgetmipitcnt(VNTENVptr env, VNTLPptr lp);
int VNTLgetbestobjval(VNTENVptr env, VNTLPptr lp, double *objval_p);
int VNTLgetmiprelgap(VNTENVptr env, VNTLPptr lp, double *gap_p);
int VNTLgetcutoff(VNTENVptr env, VNTLPptr lp, double *cutoff_p);
int64_t VNTLgetnodecnt(VNTENVptr env, VNTLPptr lp);
int64_t VNTLgetnodeleftcnt(VNTENVptr env, VNTLPptr lp);
int64_t VNTLgetnodeint(VNTENVptr env, VNTLPptr lp);
int VNTLgetnumcuts(VNTENVptr env, VNTLPptr lp, int cuttype, int *num_p);

// MIP starts.
int VNTLgetnummipstarts(VNTENVptr env, VNTLPptr lp);
int VNTLgetmipstarts(VNTENVptr env, VNTLPptr lp, int64_t *nzcnt_p, int64_t *beg, int *varindices,
                     double *values, int *effortlevel, int64_t startspace, int64_t *surplus_p,
                     int begin, int end);
int VNTLgetmipstartname(VNTENVptr env, VNTLPptr lp, char **name, char *namestore, int64_t storesz,
                        int64_t *surplus_p, int begin, int end);
int VNTLgetmipstartindex(VNTENVptr env, VNTLPptr lp, const char *lname_str, int *index_p);

// The last subproblem.
int VNTLgetsubstat(VNTENVptr env, VNTLPptr lp);
int VNTLgetsubmethod(VNTENVptr env, VNTLPptr lp);

// Column types and special ordered sets.
int VNTLchgctype(VNTENVptr env, VNTLPptr lp, int cnt, const int *indices, const char *xctype);
int VNTLaddsos(VNTENVptr env, VNTLPptr lp, int numsos, int64_t numsosnz, const char *sostype,
               const int64_t *sosbeg, const int *sosind, const double *soswt,
               const char *const *sosname);
int VNTLdelsos(VNTENVptr env, VNTLPptr lp, int begin, int end);
int VNTLdelsetsos(VNTENVptr env, VNTLPptr lp, int *delset);
int VNTLgetctype(VNTENVptr env, VNTLPptr lp, char *xctype, int begin, int end);
int VNTLgetnumsos(VNTENVptr env, VNTLPptr lp);
int VNTLgetsos(VNTENVptr env, VNTLPptr lp, int64_t *numsosnz_p, char *sostype, int64_t *sosbeg,
               int *sosind, double *soswt, int64_t sosspace, int64_t *surplus_p, int begin,
               int end);
int VNTLgetsosname(VNTENVptr env, VNTLPptr lp, char **name, char *namestore, int64_t storespace,
                   int64_t *surplus_p, int begin, int end);
int VNTLgetsosindex(VNTENVptr env, VNTLPptr lp, const char *lname_str, int *index_p);
int VNTLgetsosinfeas(VNTENVptr env, VNTLPptr lp, const double *x, double *infeasout, int begin,
                     int end);

// Indicator constraints.
int VNTLgetnumindconstrs(VNTENVptr env, VNTLPptr lp);
int VNTLgetindconstr(VNTENVptr env, VNTLPptr lp, int *indvar_p, int *complemented_p, int *nzcnt_p,
                     double *rhs_p, char *sense_p, int *linind, double *linval, int space,
                     int *surplus_p, int which);
int VNTLgetindconstrindex(VNTENVptr env, VNTLPptr lp, const char *lname_str, int *index_p);
int VNTLgetindconstrname(VNTENVptr env, VNTLPptr lp, char *buf_str, int64_t bufspace,
                         int64_t *surplus_p, int which);
int VNTLgetindconstrslack(VNTENVptr env, VNTLPptr lp, double *indslack, int begin, int end);
int VNTLindconstrslackfromx(VNTENVptr env, VNTLPptr lp, const double *x, double *indslack);
int VNTLgetindconstrinfeas(VNTENVptr env, VNTLPptr lp, const double *x, double *infeasout,
                           int begin, int end);
int VNTLdelindconstrs(VNTENVptr env, VNTLPptr lp, int begin, int end);

// Counts by column type, and the priority order.
int VNTLgetnumint(VNTENVptr env, VNTLPptr lp);
int VNTLgetnumbin(VNTENVptr env, VNTLPptr lp);
int VNTLgetnumsemicont(VNTENVptr env, VNTLPptr lp);
int VNTLgetnumsemiint(VNTENVptr env, VNTLPptr lp);
int VNTLgetorder(VNTENVptr env, VNTLPptr lp, int *cnt_p, int *indices, int *priority,
                 int *direction, int ordspace, int *surplus_p);

// The solution pool and its filters.  A solution enters the pool if all filters let it pass: that
// of a range wants lb <= sum of val x <= ub, that of diversity lower_bound <= sum of weight |x -
// refval|
// <= upper_bound.
int VNTLpopulate(VNTENVptr env, VNTLPptr lp);
int VNTLgetsolnpoolnumfilters(VNTENVptr env, VNTLPptr lp);
int VNTLaddsolnpooldivfilter(VNTENVptr env, VNTLPptr lp, double lower_bound, double upper_bound,
                             int nzcnt, const int *ind, const double *weight, const double *refval,
                             const char *lname_str);
int VNTLaddsolnpoolrngfilter(VNTENVptr env, VNTLPptr lp, double lb, double ub, int nzcnt,
                             const int *ind, const double *val, const char *lname_str);
int VNTLgetsolnpoolfiltertype(VNTENVptr env, VNTLPptr lp, int *ftype_p, int which);
int VNTLgetsolnpooldivfilter(VNTENVptr env, VNTLPptr lp, double *lower_cutoff_p,
                             double *upper_cutoff_p, int *nzcnt_p, int *ind, double *val,
                             double *refval, int space, int *surplus_p, int which);
int VNTLgetsolnpoolrngfilter(VNTENVptr env, VNTLPptr lp, double *lb_p, double *ub_p, int *nzcnt_p,
                             int *ind, double *val, int space, int *surplus_p, int which);
int VNTLgetsolnpoolfiltername(VNTENVptr env, VNTLPptr lp, char *buf_str, int64_t bufspace,
                              int64_t *surplus_p, int which);
int VNTLgetsolnpoolfilterindex(VNTENVptr env, VNTLPptr lp, const char *lname_str, int *index_p);
int VNTLdelsolnpoolfilters(VNTENVptr env, VNTLPptr lp, int begin, int end);
int VNTLdelsetsolnpoolfilters(VNTENVptr env, VNTLPptr lp, int *delstat);
int VNTLgetsolnpoolnumsolns(VNTENVptr env, VNTLPptr lp);
int VNTLgetsolnpoolnumreplaced(VNTENVptr env, VNTLPptr lp);
int VNTLgetsolnpoolmeanobjval(VNTENVptr env, VNTLPptr lp, double *meanobjval_p);
int VNTLgetsolnpoolobjval(VNTENVptr env, VNTLPptr lp, int soln, double *objval_p);
int VNTLgetsolnpoolx(VNTENVptr env, VNTLPptr lp, int soln, double *x, int begin, int end);
int VNTLgetsolnpoolslack(VNTENVptr env, VNTLPptr lp, int soln, double *slack, int begin, int end);
int VNTLgetsolnpoolqconstrslack(VNTENVptr env, VNTLPptr lp, int soln, double *qcslack, int begin,
                                int end);
int VNTLgetsolnpoolsolnname(VNTENVptr env, VNTLPptr lp, char *store, int64_t storesz,
                            int64_t *surplus_p, int which);
int VNTLgetsolnpoolsolnindex(VNTENVptr env, VNTLPptr lp, const char *lname_str, int *index_p);
int VNTLdelsolnpoolsolns(VNTENVptr env, VNTLPptr lp, int begin, int end);
int VNTLdelsetsolnpoolsolns(VNTENVptr env, VNTLPptr lp, int *delstat);

// Files of the search: priorities, filters, starts.  What is read takes the place of what is there.
// Names stand at the ends of the lines:
//
//     order of NAME                              starts of NAME
//     PRIORITY up, down or any COLUMN            start EFFORT VALUES NAME
//     ...                                        VALUE COLUMN
//     end                                        ...
//                                                end
//
// VNTEordread reads an order of columns that have the names given, and numcols elements' room in
// each array.
int VNTEreadcopyorder(VNTENVptr env, VNTLPptr lp, const char *filename_str, const char *contents,
                      int64_t length);
int VNTEreadcopysolnpoolfilters(VNTENVptr env, VNTLPptr lp, const char *filename_str,
                                const char *contents, int64_t length);
int VNTEreadcopymipstarts(VNTENVptr env, VNTLPptr lp, const char *filename_str,
                          const char *contents, int64_t length);
int VNTLordwrite(VNTENVptr env, VNTLPptr lp, const char *filename_str);
int VNTLwritemipstarts(VNTENVptr env, VNTLPptr lp, const char *filename_str, int begin, int end);
int VNTLfltwrite(VNTENVptr env, VNTLPptr lp, const char *filename_str);

// User cuts and lazy constraints: rows of sense L, E or G beside those of the problem.  No query of
// the rows counts them, and continuous solves leave them out.  A search takes only solutions that
// keep to the lazy constraints.  User cuts, which must allow all of these solutions, may help it to
// be quick.  Both join its rows when a point on its way violates them.
int VNTLaddusercuts(VNTENVptr env, VNTLPptr lp, int rcnt, int64_t nzcnt, const double *rhs,
                    const char *sense, const int64_t *rmatbeg, const int *rmatind,
                    const double *rmatval, const char *const *rowname);
int VNTLaddlazyconstraints(VNTENVptr env, VNTLPptr lp, int rcnt, int64_t nzcnt, const double *rhs,
                           const char *sense, const int64_t *rmatbeg, const int *rmatind,
                           const double *rmatval, const char *const *rowname);
int VNTLfreeusercuts(VNTENVptr env, VNTLPptr lp);
int VNTLfreelazyconstraints(VNTENVptr env, VNTLPptr lp);
int VNTEordread(VNTENVptr env, const char *filename_str, const char *contents, int64_t length,
                int numcols, const char *const *colname, int *cnt_p, int *indices, int *priority,
                int *direction);

// Networks: nodes with supplies, arcs with bounds and costs.  What leaves a node less what enters
// it is its supply.  dj = cost - pi of the arc's start + pi of its end.  Files are DIMACS files of
// minimum-cost flows, which VNTEreadcopyprob reads as well.
VNTNETptr VNTLNETcreateprob(VNTENVptr env, int *status_p, const char *name_str);
int VNTLNETcopynet(VNTENVptr env, VNTNETptr net, int objsen, int nnodes, const double *supply,
                   const char *const *nnames, int narcs, const int *fromnode, const int *tonode,
                   const double *low, const double *up, const double *obj,
                   const char *const *anames);
int VNTLNETcopybase(VNTENVptr env, VNTNETptr net, const int *astat, const int *nstat);
int VNTLNETaddnodes(VNTENVptr env, VNTNETptr net, int nnodes, const double *supply,
                    const char *const *name);
int VNTLNETaddarcs(VNTENVptr env, VNTNETptr net, int narcs, const int *fromnode, const int *tonode,
                   const double *low, const double *up, const double *obj,
                   const char *const *anames);
int VNTLNETdelnodes(VNTENVptr env, VNTNETptr net, int begin, int end);
int VNTLNETdelarcs(VNTENVptr env, VNTNETptr net, int begin, int end);
int VNTLNETdelset(VNTENVptr env, VNTNETptr net, int *whichnodes, int *whicharcs);
int VNTLNETprimopt(VNTENVptr env, VNTNETptr net);
int VNTLNETgetstat(VNTENVptr env, VNTNETptr net);
int VNTLNETgetobjval(VNTENVptr env, VNTNETptr net, double *objval_p);
int VNTLNETgetx(VNTENVptr env, VNTNETptr net, double *x, int begin, int end);
int VNTLNETgetpi(VNTENVptr env, VNTNETptr net, double *pi, int begin, int end);
int VNTLNETgetslack(VNTENVptr env, VNTNETptr net, double *slack, int begin, int end);
int VNTLNETgetdj(VNTENVptr env, VNTNETptr net, double *dj, int begin, int end);
int64_t VNTLNETgetitcnt(VNTENVptr env, VNTNETptr net);
int64_t VNTLNETgetphase1cnt(VNTENVptr env, VNTNETptr net);
int VNTLNETgetbase(VNTENVptr env, VNTNETptr net, int *astat, int *nstat);
int VNTLNETsolution(VNTENVptr env, VNTNETptr net, int *netstat_p, double *objval_p, double *x,
                    double *pi, double *slack, double *dj);
int VNTLNETsolninfo(VNTENVptr env, VNTNETptr net, int *pfeasind_p, int *dfeasind_p);
int VNTLNETchgname(VNTENVptr env, VNTNETptr net, int key, int vindex, const char *name_str);
int VNTLNETchgarcname(VNTENVptr env, VNTNETptr net, int cnt, const int *indices,
                      const char *const *newname);
int VNTLNETchgnodename(VNTENVptr env, VNTNETptr net, int cnt, const int *indices,
                       const char *const *newname);
int VNTLNETchgobjsen(VNTENVptr env, VNTNETptr net, int maxormin);
int VNTLNETchgbds(VNTENVptr env, VNTNETptr net, int cnt, const int *indices, const char *lu,
                  const double *bd);
int VNTLNETchgarcnodes(VNTENVptr env, VNTNETptr net, int cnt, const int *indices,
                       const int *fromnode, const int *tonode);
int VNTLNETchgobj(VNTENVptr env, VNTNETptr net, int cnt, const int *indices, const double *obj);
int VNTLNETchgsupply(VNTENVptr env, VNTNETptr net, int cnt, const int *indices,
                     const double *supply);
int VNTLNETgetobjsen(VNTENVptr env, VNTNETptr net);
int VNTLNETgetsupply(VNTENVptr env, VNTNETptr net, double *supply, int begin, int end);
int VNTLNETgetprobname(VNTENVptr env, VNTNETptr net, char *buf_str, int64_t bufspace,
                       int64_t *surplus_p);
int VNTLNETgetnodename(VNTENVptr env, VNTNETptr net, char **nnames, char *namestore,
                       int64_t namespc, int64_t *surplus_p, int begin, int end);
int VNTLNETgetarcname(VNTENVptr env, VNTNETptr net, char **nnames, char *namestore, int64_t namespc,
                      int64_t *surplus_p, int begin, int end);
int VNTLNETgetlb(VNTENVptr env, VNTNETptr net, double *low, int begin, int end);
int VNTLNETgetub(VNTENVptr env, VNTNETptr net, double *up, int begin, int end);
int VNTLNETgetobj(VNTENVptr env, VNTNETptr net, double *obj, int begin, int end);
int VNTLNETgetarcnodes(VNTENVptr env, VNTNETptr net, int *fromnode, int *tonode, int begin,
                       int end);
int VNTLNETgetnodearcs(VNTENVptr env, VNTNETptr net, int *arccnt_p, int *arcbeg, int *arc,
                       int arcspace, int *surplus_p, int begin, int end);
int VNTLNETgetnumnodes(VNTENVptr env, VNTNETptr net);
int VNTLNETgetnumarcs(VNTENVptr env, VNTNETptr net);
int VNTLNETgetnodeindex(VNTENVptr env, VNTNETptr net, const char *lname_str, int *index_p);
int VNTLNETgetarcindex(VNTENVptr env, VNTNETptr net, const char *lname_str, int *index_p);
int VNTENETreadcopyprob(VNTENVptr env, VNTNETptr net, const char *filename_str,
                        const char *contents, int64_t length);
int VNTENETreadcopybase(VNTENVptr env, VNTNETptr net, const char *filename_str,
                        const char *contents, int64_t length);
int VNTLNETwriteprob(VNTENVptr env, VNTNETptr net, const char *filename_str,
                     const char *format_str);
int VNTLNETbasewrite(VNTENVptr env, VNTNETptr net, const char *filename_str);

// Quadratic objectives: 1/2 x'Qx beside the linear one, with Q symmetric and both triangles given
// and told.  It must be convex to be minimised, concave to be maximised, or the solve returns
// VNTERR_NOT_CONVEX; VNTLqpindefcertificate gives a direction that shows why.  Problems with
// discrete columns are refused.  One quadratic solve of a process runs at a time; those of other
// environments wait for it.
int VNTLcopyquad(VNTENVptr env, VNTLPptr lp, const int64_t *qmatbeg, const int *qmatcnt,
                 const int *qmatind, const double *qmatval);
int VNTLcopyqpsep(VNTENVptr env, VNTLPptr lp, const double *qsepvec);
int VNTLchgqpcoef(VNTENVptr env, VNTLPptr lp, int i, int j, double newvalue);
int64_t VNTLgetnumqpnz(VNTENVptr env, VNTLPptr lp);
int VNTLgetnumquad(VNTENVptr env, VNTLPptr lp);
int VNTLgetqpcoef(VNTENVptr env, VNTLPptr lp, int rownum, int colnum, double *coef_p);
int VNTLgetquad(VNTENVptr env, VNTLPptr lp, int64_t *nzcnt_p, int64_t *qmatbeg, int *qmatind,
                double *qmatval, int64_t qmatspace, int64_t *surplus_p, int begin, int end);
int VNTLqpindefcertificate(VNTENVptr env, VNTLPptr lp, double *x);
int VNTLqpopt(VNTENVptr env, VNTLPptr lp);

// Quadratic constraints.
int VNTLaddqconstr(VNTENVptr env, VNTLPptr lp, int linnzcnt, int64_t quadnzcnt, double rhs,
                   int sense, const int *linind, const double *linval, const int *quadrow,
                   const int *quadcol, const double *quadval, const char *lname_str);
int VNTLdelqconstrs(VNTENVptr env, VNTLPptr lp, int begin, int end);
int VNTLgetnumqconstrs(VNTENVptr env, VNTLPptr lp);
int VNTLgetqconstrindex(VNTENVptr env, VNTLPptr lp, const char *lname_str, int *index_p);
int VNTLgetqconstr(VNTENVptr env, VNTLPptr lp, int *linnzcnt_p, int64_t *quadnzcnt_p, double *rhs_p,
                   char *sense_p, int *linind, double *linval, int linspace, int *linsurplus_p,
                   int *quadrow, int *quadcol, double *quadval, int64_t quadspace,
                   int64_t *quadsurplus_p, int which);
int VNTLgetqconstrname(VNTENVptr env, VNTLPptr lp, char *buf_str, int64_t bufspace,
                       int64_t *surplus_p, int which);
int VNTLgetqconstrslack(VNTENVptr env, VNTLPptr lp, double *qcslack, int begin, int end);
int VNTLqconstrslackfromx(VNTENVptr env, VNTLPptr lp, const double *x, double *qcslack);
int VNTLgetqconstrinfeas(VNTENVptr env, VNTLPptr lp, const double *x, double *infeasout, int begin,
                         int end);
int VNTLgetxqxax(VNTENVptr env, VNTLPptr lp, double *xqxax, int begin, int end);
int VNTLgetqconstrdslack(VNTENVptr env, VNTLPptr lp, int qind, int *nz_p, int *ind, double *val,
                         int space, int *surplus_p);

// Pool filter, conflict and names, extended.
int VNTLEgetsolnpoolfilter(VNTENVptr env, VNTLPptr lp, int *ftype_p, double *lowercutoff_p,
                           double *upper_cutoff_p, int *nzcnt_p, int *ind, double *val,
                           double *refval, int space, int *surplus_p, int which);
int VNTLgetconflict(VNTENVptr env, VNTLPptr lp, int *confstat_p, int *rowind, int *rowbdstat,
                    int *confnumrows_p, int *colind, int *colbdstat, int *confnumcols_p);
int VNTLEgetusercutname(VNTENVptr env, VNTLPptr lp, char *buf_str, int64_t bufspace,
                        int64_t *surplus_p, int which);
int VNTLEgetlazyconstraintname(VNTENVptr env, VNTLPptr lp, char *buf_str, int64_t bufspace,
                               int64_t *surplus_p, int which);

// Extended queries of a solve.
int VNTLEgetmaxthreads(VNTENVptr env);
int VNTLEgetorigcolind(VNTENVptr env, VNTLPptr lp, int j);
int VNTLEgetorigrowind(VNTENVptr env, VNTLPptr lp, int i);
int VNTLEispromotion(VNTENVptr env, int rspace, int cspace, int ispace);
int VNTLEcangetbase(VNTENVptr env, VNTLPptr lp);
double VNTLEobjfromx(VNTENVptr env, VNTLPptr lp, const double *x);
int VNTLEgrabnodes(VNTENVptr env, VNTLPptr lp, int64_t *nodecnt_p, double *est, int *bndcnt_p,
                   int *bndbeg, int *bndind, double *bndval, char *bndlu, int bndspace,
                   int *bndsurplus_p, int *cutcnt_p, int *cutbeg, double *cutrhs, char *cutsense,
                   int cutspace, int *cutsurplus_p, int64_t *cutnzcnt_p, int64_t *cutmatbeg,
                   int *cutmatind, double *cutmatval, int64_t cutmatspace, int64_t *cutmatsurplus_p,
                   int64_t num);

// Reading a problem from memory.
int VNTLEreadcopyprob(VNTENVptr env, VNTLPptr lp, const char *filename, const char *content,
                      int64_t length, const char *filetype);

// Taking the state of a running search.
int VNTLEgetrootticks(VNTENVptr env, VNTLPptr lp, double *ticks_p, double *walltime_p);
int VNTLEgrabglobalinfo(VNTENVptr env, VNTLPptr lp, int *bndcnt_p, int *bndind, double *bndval,
                        char *bndlu, int bndspace, int *bndsurplus_p, int *cutcnt_p, double *cutrhs,
                        char *cutsense, int cutspace, int *cutsurplus_p, int64_t *cutnzcnt_p,
                        int64_t *cutmatbeg, int *cutmatind, double *cutmatval, int64_t cutmatspace,
                        int64_t *cutmatsurplus_p);
int VNTLEgrabactivecuts(VNTENVptr env, VNTLPptr lp, int *cutcnt_p, int64_t *cutnnz_p,
                        int64_t *cutbeg, int *cutind, double *cutval, char *cutsense,
                        double *cutrhs, int cutspace, int *cutsurplus, int64_t nnzspace,
                        int64_t *nnzsurplus);

// Distributed solving and its configuration.
int VNTLdistmipopt(VNTENVptr env, VNTLPptr lp);
int VNTLEhasvmconfig(VNTENVptr env, int *hasconfig_p);
int VNTLcopyvmconfig(VNTENVptr env, const char *xmlstr);
int VNTEreadcopyvmconfig(VNTENVptr env, const char *filename, const char *contents, int64_t length);
int VNTLdelvmconfig(VNTENVptr env);
int VNTLEreadcopyvmconfig(VNTENVptr env, const char *filename, const char *content, int64_t length);

// The objective offset.
int VNTLEsetobjoffset(VNTENVptr env, VNTLPptr lp, double objoffset);
int VNTLchgobjoffset(VNTENVptr env, VNTLPptr lp, double offset);

// Counts of cuts.
int VNTLgetnumlazyconstraints(VNTENVptr env, VNTLPptr lp);
int VNTLgetnumusercuts(VNTENVptr env, VNTLPptr lp);

// Benders decomposition.
int VNTLbendersopt(VNTENVptr env, VNTLPptr lp);

// Annotations: numbers on the objects of a problem, which no solve looks at.  Long and double ones
// are counted apart, from 0.  An object has an annotation's default value until it is given its
// own, which stays with it while others come and go.  objtype is VNT_ANNOTATION_*.  The file that
// VNTLwriteannotations makes is read back by VNTEreadcopyannotations, in place of what is there:
//
//     annotations of NAME
//     annotation long or double DEFAULT NAME
//     column, row, set or indicator VALUE NAME
//     objective VALUE
//     ...
//     end
//
// VNTLwritebendersannotation writes such a file with a decomposition as the annotation "benders":
// 0 on discrete columns, and on the others the number, from 1, of their block.  Columns of
// different blocks share no row.
int VNTLgetdblannotations(VNTENVptr env, VNTLPptr lp, int idx, int objtype, double *annotation,
                          int begin, int end);
int VNTLgetlongannotations(VNTENVptr env, VNTLPptr lp, int idx, int objtype, int64_t *annotation,
                           int begin, int end);
int VNTLsetdblannotations(VNTENVptr env, VNTLPptr lp, int idx, int objtype, int cnt,
                          const int *indices, const double *values);
int VNTLsetlongannotations(VNTENVptr env, VNTLPptr lp, int idx, int objtype, int cnt,
                           const int *indices, const int64_t *values);
int VNTLnewlongannotation(VNTENVptr env, VNTLPptr lp, const char *annotationname_str,
                          int64_t defval);
int VNTLnewdblannotation(VNTENVptr env, VNTLPptr lp, const char *annotationname_str, double defval);
int VNTEreadcopyannotations(VNTENVptr env, VNTLPptr lp, const char *filename, const char *contents,
                            int64_t length);
int VNTLEreadcopyannotations(VNTENVptr env, VNTLPptr lp, const char *filename, const char *content,
                             int64_t length);
int VNTLwriteannotations(VNTENVptr env, VNTLPptr lp, const char *filename);
int VNTLgetdblannotationdefval(VNTENVptr env, VNTLPptr lp, int idx, double *defval_p);
int VNTLgetlongannotationdefval(VNTENVptr env, VNTLPptr lp, int idx, int64_t *defval_p);
int VNTLwritebendersannotation(VNTENVptr env, VNTLPptr lp, const char *filename);

// Piecewise-linear constraints.
int VNTLgetnumpwl(VNTENVptr env, VNTLPptr lp);
int VNTLgetpwl(VNTENVptr env, VNTLPptr lp, int pwlindex, int *vary_p, int *varx_p,
               double *preslope_p, double *postslope_p, int *nbreaks_p, double *breakx,
               double *breaky, int breakspace, int *surplus_p);
int VNTLgetpwlname(VNTENVptr env, VNTLPptr lp, char *buf_str, int64_t bufspace, int64_t *surplus_p,
                   int which);
int VNTLdelpwl(VNTENVptr env, VNTLPptr lp, int begin, int end);
int VNTLdelsetpwl(VNTENVptr env, VNTLPptr lp, int *delstat);
int VNTLgetpwlindex(VNTENVptr env, VNTLPptr lp, const char *lname_str, int *index_p);

// Annotations by index and name.
int VNTLdeldblannotation(VNTENVptr env, VNTLPptr lp, int idx);
int VNTLdellongannotation(VNTENVptr env, VNTLPptr lp, int idx);
int VNTLgetdblannotationindex(VNTENVptr env, VNTLPptr lp, const char *annotationname_str,
                              int *index_p);
int VNTLgetdblannotationname(VNTENVptr env, VNTLPptr lp, int idx, char *buf_str, int64_t bufspace,
                             int64_t *surplus_p);
int VNTLgetlongannotationindex(VNTENVptr env, VNTLPptr lp, const char *annotationname_str,
                               int *index_p);
int VNTLgetlongannotationname(VNTENVptr env, VNTLPptr lp, int idx, char *buf_str, int64_t bufspace,
                              int64_t *surplus_p);
int VNTLgetnumdblannotations(VNTENVptr env, VNTLPptr lp);
int VNTLgetnumlongannotations(VNTENVptr env, VNTLPptr lp);

// Adding piecewise-linear constraints, deleting annotations.
int VNTLaddpwl(VNTENVptr env, VNTLPptr lp, int vary, int varx, double preslope, double postslope,
               int nbreaks, const double *breakx, const double *breaky, const char *pwlname);
int VNTLdeldblannotations(VNTENVptr env, VNTLPptr lp, int begin, int end);
int VNTLdellongannotations(VNTENVptr env, VNTLPptr lp, int begin, int end);

// The log file.  The solver writes it: that of a worker lies on the worker's host.
int VNTLsetlogfilename(VNTENVptr env, const char *filename, const char *mode);
int VNTLgetlogfilename(VNTENVptr env, char *buf_str, int64_t bufspace, int64_t *surplus_p);

// Indicator constraints, many at once.
int VNTLaddindconstraints(VNTENVptr env, VNTLPptr lp, int indcnt, const int *type,
                          const int *indvar, const int *complemented, int64_t nzcnt,
                          const double *rhs, const char *sense, const int64_t *linbeg,
                          const int *linind, const double *linval, const char *const *indname);
int VNTLgetindconstraints(VNTENVptr env, VNTLPptr lp, int *type, int *indvar, int *complemented,
                          int64_t *nzcnt_p, double *rhs, char *sense, int64_t *linbeg, int *linind,
                          double *linval, int64_t linspace, int64_t *surplus_p, int begin, int end);

// Repeated runs, fixed parameters, parameter names.
int VNTLErunseeds(VNTENVptr env, VNTLPptr lp, int cnt);
int VNTLEfixparam(VNTENVptr env, int paramnum);
int VNTLgetparamhiername(VNTENVptr env, int whichparam, char *name_str);

// Several objectives.
int VNTLmultiobjchgattribs(VNTENVptr env, VNTLPptr lp, int objind, double offset, double weight,
                           int priority, double abstol, double reltol, const char *name);
int VNTLmultiobjgetindex(VNTENVptr env, VNTLPptr lp, const char *name, int *index_p);
int VNTLgetnumobjs(VNTENVptr env, VNTLPptr lp);
int VNTLmultiobjgetobj(VNTENVptr env, VNTLPptr lp, int n, double *coeffs, double *offset_p,
                       double *weight_p, int *priority_p, double *abstol_p, double *reltol_p,
                       int begin, int end);
int VNTLmultiobjsetobj(VNTENVptr env, VNTLPptr lp, int n, int objnz, const int *objind,
                       const double *objval, double offset, double weight, int priority,
                       double abstol, double reltol, const char *objname);
int VNTLsetnumobjs(VNTENVptr env, VNTLPptr lp, int n);
int VNTLmultiobjgetobjval(VNTENVptr env, VNTLPptr lp, int n, double *objval_p);
int VNTLmultiobjgetobjvalbypriority(VNTENVptr env, VNTLPptr lp, int priority, double *objval_p);
int VNTLmultiobjgetdblinfo(VNTENVptr env, VNTLPptr lp, int subprob, double *info_p, int what);
int VNTLmultiobjgetintinfo(VNTENVptr env, VNTLPptr lp, int subprob, int *info_p, int what);
int VNTLmultiobjgetlonginfo(VNTENVptr env, VNTLPptr lp, int subprob, int64_t *info_p, int what);
int VNTLmultiobjgetnumsolves(VNTENVptr env, VNTLPptr lp);
int VNTLEgetnumprios(VNTENVptr env, VNTLPptr lp);
int VNTLmultiobjgetcntinfo(VNTENVptr env, VNTLPptr lp, int subprob, int64_t *info_p, int what);
int VNTLmultiobjgetdiminfo(VNTENVptr env, VNTLPptr lp, int subprob, int *info_p, int what);
int VNTLEismultiobj(VNTENVptr env, VNTLPptr lp);
int VNTLmultiobjgetname(VNTENVptr env, VNTLPptr lp, int objind, char *buf_str, int64_t bufspace,
                        int64_t *surplus_p);

// Conflict groups.
int VNTLgetconflictgroups(VNTENVptr env, VNTLPptr lp, int64_t *concnt_p, double *grppref,
                          int64_t *grpbeg, int *grpind, char *grptype, int64_t grpspace,
                          int64_t *surplus_p, int begin, int end);
int64_t VNTLgetconflictnumpasses(VNTENVptr env, VNTLPptr lp);
int64_t VNTLgetconflictnumgroups(VNTENVptr env, VNTLPptr lp);

// Starting information from a file: a solution, MIP starts or a basis.
int VNTEreadcopystartinfo(VNTENVptr env, VNTLPptr lp, const char *filename_str,
                          const char *contents, int64_t length);

// Environments and their channels.  msgfunc gets each text of the channel, ended by a zero,
// on the thread that produced it.
VNTENVptr VNTLopenVANTO(int *status_p);
int VNTLcloseVANTO(VNTENVptr *env);
int VNTLgetchannels(VNTENVptr env, VNTCHANNELptr *results_p, VNTCHANNELptr *warning_p,
                    VNTCHANNELptr *error_p, VNTCHANNELptr *log_p);
int VNTLaddfuncdest(VNTENVptr env, VNTCHANNELptr channel, void *handle,
                    void (*msgfunc)(void *handle, const char *text));
int VNTLEsetasyncterminate(VNTENVptr env, volatile int *terminate_p);
int VNTLversionnumber(VNTENVptr env, int *version_p);
int VNTLgetredlp(VNTENVptr env, VNTLPptr lp, VNTLPptr *redlp_p);

// Callbacks of a running solve, on the solving thread.  func of the terminate callback ends
// the solve with a result other than 0; that of the pause callback lets it go on with 0 and ends it
// with 13.  Null func and data remove a callback.
int VNTEsetterminatefunc(VNTENVptr env, int (*func)(VNTENVptr env, void *data), void *data);
int VNTEsetpausecallbackfunc(VNTENVptr env,
                             int (*func)(VNTENVptr env, void *cbdata, uint64_t progress,
                                         void *data),
                             void *data);
int VNTEgetasyncmipprogress(VNTENVptr env, void *cbdata, int sollen, vntmipprogress *progress,
                            double refobj);
int VNTEasyncprogressinject(VNTENVptr env, void *cbdata, double objval, double sense, double bound);

#if defined(__GNUC__)
#pragma GCC visibility pop
#endif

#ifdef __cplusplus
}
#endif

#endif
