#include "zvx_omx_common_cproc.h"

#include "zvx_util_slist_ts.h"

bool zvx_omx_common_cproc_command_queue_init(zvx_omx_common_cproc_command_queue_lockfree_ts *queue)
{
    if (queue == nullptr) {
        return false;
    }
    /* A queue whose first node cannot be allocated stays zeroed: empty, refusing, and safe to destroy. */
    *queue = zvx_slist_ts{};
    zvxu_slist_ts_init(queue);
    return queue->head != nullptr;
}

void zvx_omx_common_cproc_command_queue_destroy(zvx_omx_common_cproc_command_queue_lockfree_ts *queue)
{
    zvxu_slist_ts_destroy(queue);
}

bool zvx_omx_common_cproc_command_queue_enqueue(zvx_omx_common_cproc_command_queue_lockfree_ts *queue,
                                                struct zvx_omx_common_cproc_command_data *command)
{
    if (queue == nullptr || command == nullptr) {
        return false;
    }
    return zvxu_slist_ts_enqueue(queue, command) != 0;
}

struct zvx_omx_common_cproc_command_data *
zvx_omx_common_cproc_command_queue_dequeue(zvx_omx_common_cproc_command_queue_lockfree_ts *queue)
{
    if (queue == nullptr) {
        return nullptr;
    }
    return static_cast<struct zvx_omx_common_cproc_command_data *>(zvxu_slist_ts_dequeue(queue));
}
