// What every job shares: the ports, the settings, the file layer, the part table, the job's
// own state and its cancel request. The engines add their state on top (EncodeContext,
// DecodeContext); the shell's AppState holds both over one JobContext.
#pragma once

#include "core/buf_file.h"
#include "core/cancel_token.h"
#include "core/config.h"
#include "core/delivery_port.h"
#include "core/job_state.h"
#include "core/part_table.h"
#include "core/user_port.h"

namespace mandrel {

struct JobContext {
    JobContext(UserPort& user, DeliveryPort& deliveryPort) : ui(user), delivery(deliveryPort) {}
    JobContext(const JobContext&) = delete;
    JobContext& operator=(const JobContext&) = delete;
    virtual ~JobContext() = default;

    UserPort& ui;
    DeliveryPort& delivery;
    Config config;
    Identity identity;
    BufFileTable files;
    PartTable parts;
    JobState job;
    CancelToken cancel;
};

}  // namespace mandrel
