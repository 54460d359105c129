#include "worker/child.h"

worker_child *workerchild = nullptr;
