#ifndef VESK_PIPELINE_COMMIT_INFO_H
#define VESK_PIPELINE_COMMIT_INFO_H

#include "vesk/commit_info.h"

struct vesk_commit_info {
    vesk_instances *before;
    vesk_instances *after;
    vesk_changes *changes;
    vesk_actions *actions;
    void *data;
};

#endif
