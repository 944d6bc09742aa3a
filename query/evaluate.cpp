#include "vesk/query.h"

#include "query/evaluate.h"

#include <cstring>
#include <memory>
#include <new>
#include <optional>

#include "base/or_on_oom.h"
#include "base/text.h"
#include "base/xml.h"
#include "config/running.h"
#include "core/log.h"
#include "model/parking.h"
#include "model/sharing.h"
#include "pipeline/actions.h"
#include "pipeline/refresh_info.h"
#include "query/limits.h"
#include "query/operation.h"
#include "query/origin.h"
#include "vesk/classes.h"
#include "vesk/config.h"
#include "vesk/providers.h"

// A request is evaluated twice: a collecting pass finds out which values it reads, the providers
// bring these up to date, and a second pass answers it and makes its changes under a change set.

unsigned vesk_query_transaction_number = 0;

namespace vesk {
namespace {

bool external_updates_prohibited = false;
unsigned nesting = 0;

struct operation_kind {
    const char *name;
    operation_code code;
    bool (*evaluate)(evaluation &);
};

constexpr operation_kind operations[] = {
    {"select", operation_code::select, evaluate_select},
    {"update", operation_code::update, evaluate_update},
    {"delete", operation_code::remove, evaluate_delete},
    {"insert", operation_code::insert, evaluate_insert},
};

const operation_kind *find_operation(const char *name)
{
    for (const operation_kind &kind : operations)
        if (std::strcmp(kind.name, name) == 0) return &kind;
    return nullptr;
}

bool is_named(const xmlNode *node, const char *name)
{
    return is_element(node) && std::strcmp(name_of(node), name) == 0;
}

/** Ends a request, or the pass, with an error outside any handler. */
const xmlNode *end_early(evaluation &request, unsigned &errors)
{
    request.out->counts(++errors, 0);
    return nullptr;
}

/** Where the next operation starts; the where that may stand between belongs to this one. */
const xmlNode *take_where(evaluation &request, const xmlNode *operation)
{
    const xmlNode *sibling = operation->next;
    request.where = sibling ? sibling->children : nullptr;
    if (!sibling) return nullptr;
    if (request.where && !is_named(sibling, "where")) {
        request.where = nullptr;
        return sibling;
    }
    return sibling->next;
}

bool has_only_selects(const xmlNode *first)
{
    for (const xmlNode *operation = first; operation; operation = operation->next)
        if (!is_named(operation, "select") && !is_named(operation, "where")) return false;
    return true;
}

/** Evaluates one operation; errors becomes its count. Where the next starts, null after an early
 * end. */
const xmlNode *evaluate_operation(evaluation &request, const xmlNode *operation, unsigned &errors)
{
    const operation_kind *kind =
        is_element(operation) ? find_operation(name_of(operation)) : nullptr;
    if (!kind) {
        request.error(short_message_length, "Invalid operation \"%s\".", name_of(operation));
        return end_early(request, errors);
    }
    request.operation = operation;
    request.code = kind->code;
    const xmlNode *element = operation->children;
    if (!element) {
        request.out->error("Incomplete lsql request.");
        return end_early(request, errors);
    }
    if (!element->name) {
        request.out->error("No class name.");
        return end_early(request, errors);
    }
    request.class_name = name_of(element);
    request.cls = vesk_classes_get(request.class_name);
    request.instance_name = attribute_of(element, "name");
    request.properties = attribute_of(element, "properties");
    request.first_property = is_element(element) ? element->children : nullptr;
    const xmlNode *next = take_where(request, operation);
    if (!request.passive) ++vesk_query_transaction_number;
    request.errors = 0;
    request.touched = 0;
    const bool answered = kind->evaluate(request);
    errors = request.errors;
    if (answered) request.out->counts(request.errors, request.touched);
    return next;
}

/**
 * The copy that a transaction edits. It shares with running, which nobody else has hold of; but who
 * evaluates a request within another, or within a commit, may look at the old one afterwards.
 */
vesk_instances *copy_of(vesk_instances &running)
{
    if (busy_scope::depth() > 1) return copy_whole(running);
    auto copy = std::make_unique<vesk_instances>(8U);
    begin_sharing(*copy, running);
    return copy.release();
}

/** What a request edits: running itself, or in a write-transaction a copy of it. */
struct edited {
    edited(bool in_transaction, bool only_reads)
        : transaction{in_transaction}, running{vesk_config_get_running()}
    {
        if (!running) return;
        if (transaction) copy.reset(copy_of(*running));
        // Nobody gets to see the changes of a request that makes none, not even those of
        // refreshers. But whoever listens meanwhile is to hear no more than ever.
        const bool is_needed = !only_reads || busy_scope::depth() > 1 || !is_unobserved(*running);
        if (is_needed) changes.emplace(*target());
    }

    vesk_instances *target() const { return transaction ? copy.get() : running; }

    /** Whether memory sufficed for all that was looked at so far. */
    bool is_whole() const
    {
        return !(changes && changes->before.is_broken) && !target()->is_broken;
    }

    bool transaction;
    vesk_instances *running;
    full_instances_ptr copy;
    std::optional<vesk_changes> changes; // follows the target: goes first; none to read only
};

void aim(evaluation &request, edited &what)
{
    request.target = what.target();
    request.changes = what.changes ? &*what.changes : nullptr;
}

/** The collecting pass; false when it found the request at fault. Then come the providers. */
bool collect_and_refresh(evaluation &request, const xmlNode *first)
{
    vesk_refresh_info refresh{request.target};
    request.refresh = &refresh;
    unsigned errors = 0;
    for (const xmlNode *next = first; next;)
        next = evaluate_operation(request, next, errors);
    request.refresh = nullptr;
    if (errors > 0) return false;
    vesk_providers_refresh(&refresh);
    return true;
}

/** Makes the changes known: a transaction's copy becomes running, and the providers apply them. */
void install(const evaluation &request, edited &what)
{
    if (!what.running) return;
    if (what.changes && what.changes->incomplete) throw std::bad_alloc{};
    if (what.running != vesk_config_get_running()) {
        // A validator replaced it meanwhile; what was edited is running no more.
        vesk_debug_eprintf("Running was replaced while a request was evaluated.\n");
        throw std::bad_alloc{};
    }
    if (what.transaction) {
        const vesk_instances *copy = what.copy.get();
        if (vesk_config_replace_running(what.copy.release()) != copy) throw std::bad_alloc{};
    }
    if (what.transaction || request.code != operation_code::select)
        vesk_providers_commit(request.target, request.changes, nullptr);
}

void evaluate_sequence(evaluation &request, const xmlNode *root)
{
    const bool transaction = is_named(root->children, "write-transaction");
    const xmlNode *first = transaction ? root->children->children : root->children;
    const bool only_reads = !transaction && has_only_selects(first);
    std::optional<edited> what{std::in_place, transaction, only_reads};
    aim(request, *what);
    if (!collect_and_refresh(request, first)) return request.finish();
    if (what->running != vesk_config_get_running()) {
        // A provider replaced the configuration while it refreshed: that one is to be edited.
        what.emplace(transaction, only_reads);
        aim(request, *what);
    }
    request.out->restart();
    unsigned errors = 0;
    for (const xmlNode *next = first; next && errors == 0;)
        next = evaluate_operation(request, next, errors);
    if (what->running && !what->is_whole()) throw std::bad_alloc{};
    request.finish();
    if (errors == 0 && !request.passive) install(request, *what);
}

/** Evaluates a parsed request whose root is to be "lsql". */
void evaluate(const xmlDoc &document, const xmlNode *root, bool passive, result &out,
              c_string *copy)
{
    const busy_scope busy;
    evaluation request;
    request.document = &document;
    request.passive = passive;
    request.out = &out;
    request.copy = copy;
    const auto refuse = [&](const char *message) {
        out.error(message);
        out.counts(1, 0);
        request.finish();
    };
    if (!is_named(root, "lsql")) return refuse("Top level name is not lsql.");
    set_origin(attribute_of(root, "origin"));
    if (external_updates_prohibited && vesk_query_origin)
        return refuse("External updates are prohibited.");
    if (!root->children) return refuse("Incomplete lsql request.");
    evaluate_sequence(request, root);
}

bool is_dumped(bool passive)
{
    return vesk_debug_get() >= (passive ? 2 : 1);
}

void evaluate_document(xmlDoc &document, bool passive, std::string &out, c_string *copy)
{
    const xmlNode *root = xmlDocGetRootElement(&document);
    if (is_named(root, "get_conf")) {
        c_string text{vesk_config_get_startup_as_xml()};
        if (!text) throw std::bad_alloc{};
        if (copy)
            *copy = std::move(text);
        else
            out += text.get();
        return;
    }
    const char *kind = passive ? " (passive)" : "";
    if (is_dumped(passive)) {
        vesk_debug_printf("LSQL query%s:\n", kind);
        xmlDocDump(vesk_debug_get_stream(), &document);
    }
    const size_t start = out.size();
    result answer{out};
    evaluate(document, root, passive, answer, copy);
    if (is_dumped(passive)) {
        vesk_debug_printf("LSQL result%s:\n", kind);
        continue_log_line("%s", out.c_str() + start);
    }
}

/** Counts the evaluations under way. */
struct nested {
    nested() { ++nesting; }
    ~nested() { --nesting; }
    nested(const nested &) = delete;
    nested &operator=(const nested &) = delete;
};

bool eval(std::string &out, const char *text, bool passive, c_string *copy)
{
    if (!text) return fail("Null request.\n") == 0;
    if (is_loading()) {
        vesk_debug_eprintf("Configuration is being loaded: request refused.\n");
        return false;
    }
    if (nesting >= max_nesting) {
        vesk_debug_eprintf("LSQL request is nested deeper than %u: refused.\n", max_nesting);
        return false;
    }
    const nested counted;
    // An outer request gets its origin back; after the outermost the last origin stays.
    const auto outer = nesting > 1 ? std::make_unique<keep_origin>() : nullptr;
    if (!is_within_limits(text)) {
        vesk_debug_eprintf("LSQL request is over a limit.\n");
        throw std::bad_alloc{}; // to the client the same: no answer, its connection ends
    }
    const xml_doc document = parse_request(text);
    if (!document) {
        vesk_debug_eprintf("Invalid LSQL request: %s\n", text);
        return false;
    }
    evaluate_document(*document, passive, out, copy);
    return true;
}

/** Evaluates a request; what was written for one that is dropped is taken back. */
bool eval_or_drop(std::string &out, const char *text, bool passive, c_string *copy)
{
    const size_t start = out.size();
    try {
        return eval(out, text, passive, copy);
    } catch (const std::bad_alloc &) {
        out.resize(start);
        vesk_debug_eprintf("LSQL request dropped.\n");
        throw;
    }
}

char *eval_or_null(const char *text, bool passive)
{
    return or_on_oom<char *>(nullptr, [&]() -> char * {
        std::string out;
        c_string copy;
        eval_or_drop(out, text, passive, &copy);
        return copy.release();
    });
}

} // namespace

bool evaluate_to(std::string &out, const char *request, bool passive)
{
    return eval_or_drop(out, request, passive, nullptr);
}

} // namespace vesk

char *vesk_query_eval(const char *request)
{
    return vesk::eval_or_null(request, false);
}

char *vesk_query_eval_passive(const char *request)
{
    return vesk::eval_or_null(request, true);
}

void vesk_query_action(const char *provider, const char *action, const char *class_name,
                       const char *instance_name)
{
    vesk_instances *running = vesk_config_get_running();
    if (!running) return;
    const vesk::busy_scope busy;
    const vesk::changes_ptr changes{vesk_changes_new(running)};
    const vesk::actions_ptr actions{vesk_actions_new()};
    if (!changes || !actions) return;
    vesk_actions_add(actions.get(), provider, action, class_name, instance_name);
    vesk_providers_commit(running, changes.get(), nullptr); // on purpose without the action
}

void vesk_query_disable_external_updates(void)
{
    vesk::external_updates_prohibited = true;
}
