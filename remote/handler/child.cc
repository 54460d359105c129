#include "remote/handler/child.h"

worker_child *workerchild = nullptr;
