// The process-wide records of the program, gathered so that every engine and the shell reach
// them through one reference instead of hidden globals. Tests make their own.
#pragma once

#include "core/buf_file.h"
#include "core/config.h"
#include "core/job_state.h"
#include "core/part_table.h"
#include "core/ui_port.h"
#include "decode/decode_job.h"
#include "encode/encode_job.h"

namespace mandrel {

struct AppState {
    explicit AppState(UiPort& port) : ui(port) {}
    UiPort& ui;
    Config config;
    Identity identity;
    BufFileTable files;
    PartTable parts;
    JobState job;
    EncodeJob encode;
    DecodeJob decode;
};

}  // namespace mandrel
