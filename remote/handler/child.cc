#include "remote/handler/child.h"

namespace vnt {

worker_child *workerchild = nullptr;

} // namespace vnt
