#include "complib/cl_thread.h"

#include <cstring>
#include <memory>
#include <new>

#include "platform/sim/call.h"
#include "platform/sim/json.h"

namespace {

// What the new thread needs. It owns this, since the caller's record may be gone before it runs.
struct Start {
    void (*function)(void *);
    void *context;
    char name[sizeof(cl_thread_t::name)];
};

void *run(void *argument) {
    const std::unique_ptr<Start> owned(static_cast<Start *>(argument));
    const Start start = *owned;
    if (start.name[0] != '\0') {
        // By the thread itself: its starter could find a detached thread gone already.
        pthread_setname_np(pthread_self(), start.name);
    }
    start.function(start.context);
    return nullptr;
}

cl_status_t start_detached(Start *start, pthread_t *id) {
    pthread_attr_t attributes;
    if (pthread_attr_init(&attributes) != 0) {
        return CL_STATUS_NO_MEMORY;
    }
    pthread_attr_setdetachstate(&attributes, PTHREAD_CREATE_DETACHED);
    const int error = pthread_create(id, &attributes, run, start);
    pthread_attr_destroy(&attributes);
    return error == 0 ? CL_STATUS_SUCCESS : CL_STATUS_THREAD_FAILED;
}

cl_status_t thread_init(cl_thread_t *thread, void (*function)(void *), const void *context,
                        const char *name) {
    if (thread == nullptr || function == nullptr) {
        return CL_STATUS_NULL_ARGUMENT;
    }
    std::unique_ptr<Start> start(new (std::nothrow)
                                     Start{function, const_cast<void *>(context), {}});
    if (start == nullptr) {
        return CL_STATUS_NO_MEMORY;
    }
    if (name != nullptr) {
        std::memcpy(start->name, name, strnlen(name, sizeof(start->name) - 1));
    }
    cl_thread_t started{};
    std::memcpy(started.name, start->name, sizeof(started.name));
    const cl_status_t status = start_detached(start.get(), &started.id);
    if (status == CL_STATUS_SUCCESS) {
        // The thread owns it now, and may have released it already.
        [[maybe_unused]] Start *handed_over = start.release();
        *thread = started;
    }
    return status;
}

}  // namespace

cl_status_t cl_thread_init(cl_thread_t *thread, void (*function)(void *), const void *context,
                           const char *name) {
    zv_sim::Call call("cl_thread_init");
    call.args([&](auto &args) {
        args["name"] = name == nullptr ? zv_sim::OrderedJson() : zv_sim::OrderedJson(name);
    });
    if (call.fails_early()) {
        return call.finish(0);
    }
    return call.finish(thread_init(thread, function, context, name));
}
