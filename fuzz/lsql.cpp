#include "base/text.h"
#include "base/xml.h"
#include "config/running.h"
#include "fuzz/model.h"
#include "fuzz/target.h"
#include "vesk/query.h"

// A request: its answer is a document, and the configuration stays one that can be copied.

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    vesk::fuzz::prepare_model();
    vesk::exchange_running(vesk::fuzz::make_configuration().release());
    const std::string request{vesk::fuzz::text_of(data, size)};
    const vesk::c_string answer{vesk_query_eval(request.c_str())};
    if (answer && request.find("get_conf") == request.npos)
        vesk::fuzz::require(vesk::parse_xml(answer.get(), vesk::xml_source::client) != nullptr,
                            "the answer is a document");
    const vesk::full_instances_ptr copy{vesk_instances_copy(vesk_config_get_running())};
    vesk::fuzz::require(copy != nullptr, "running can be copied");
    vesk_instances_delete_all(vesk::exchange_running(nullptr));
    return 0;
}
