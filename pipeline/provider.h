#ifndef VESK_PIPELINE_PROVIDER_H
#define VESK_PIPELINE_PROVIDER_H

#include <string>

#include "vesk/provider.h"

struct vesk_provider {
    std::string name;
    vesk_provider_commit_fn commit = nullptr;
    void *commit_data = nullptr;
    vesk_provider_refresh_fn refresh = nullptr;
    void *refresh_data = nullptr;
};

#endif
