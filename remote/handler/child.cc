#include "remote/handler/child.h"

#include <cerrno>
#include <unistd.h>

namespace vnt {

worker_child *workerchild = nullptr;

bool child_report(const worker_child *child, int32_t word)
{
    return TEMP_FAILURE_RETRY(write(child->status_fd, &word, sizeof word)) == sizeof word;
}

} // namespace vnt
