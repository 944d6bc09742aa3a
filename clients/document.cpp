#include "clients/command.h"

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <memory>

#include "clients/failure.h"
#include "clients/output.h"
#include "clients/screen_text.h"
#include "clients/transaction.h"

namespace vesk::client {
namespace {

constexpr size_t longest_input = size_t{64} * 1024 * 1024; // many times what the daemon takes

struct close_file {
    void operator()(std::FILE *file) const
    {
        if (file != stdin) std::fclose(file);
    }
};

xmlNode *only_child_transaction(xmlNode *root)
{
    xmlNode *first = root->children;
    return is_element(first) && std::strcmp(name_of(first), "write-transaction") == 0 ? first
                                                                                      : nullptr;
}

bool is_request(const xmlNode *root)
{
    return root && std::strcmp(name_of(root), "lsql") == 0 && root->children;
}

std::string dumped(xmlDoc &document)
{
    xmlChar *memory = nullptr;
    int size = 0;
    xmlDocDumpMemoryEnc(&document, &memory, &size, "US-ASCII");
    const std::unique_ptr<xmlChar, xmlFreeFunc> owned{memory, xmlFree};
    if (!memory) throw std::bad_alloc{};
    return {reinterpret_cast<const char *>(memory), static_cast<size_t>(size)};
}

/** Moves the operations of a request into a transaction, unless they are in one. */
xmlNode *make_transaction(xmlNode *root)
{
    if (xmlNode *there = only_child_transaction(root)) return there;
    xmlNode *made = xmlNewNode(nullptr, reinterpret_cast<const xmlChar *>("write-transaction"));
    if (!made) throw std::bad_alloc{};
    while (xmlNode *child = root->children) {
        xmlUnlinkNode(child);
        xmlAddChild(made, child);
    }
    xmlAddChild(root, made);
    return made;
}

void append_operation(xmlNode *transaction, const std::string &operation)
{
    const xml_doc piece = parse_xml(operation, xml_source::file);
    xmlNode *copy = xmlDocCopyNode(xmlDocGetRootElement(piece.get()), transaction->doc, 1);
    if (!copy) throw std::bad_alloc{};
    xmlAddChild(transaction, copy);
}

void print_answer(const std::string &text, const answer &parsed, std::optional<format> as)
{
    if (as.value_or(format::xml) == format::xml) {
        write_out(text);
        return;
    }
    std::vector<instance> instances;
    for (const outcome &one : parsed.outcomes)
        instances.insert(instances.end(), one.instances.begin(), one.instances.end());
    write_out(instances_text(instances, *as, titles::classes));
}

/** Sends the document so that nothing of it happens. */
void rehearse_document(session &with, xmlDoc &document, xmlNode *root)
{
    const sentinel stop;
    append_operation(make_transaction(root), stop.operation());
    const std::string text = with.daemon.ask(dumped(document));
    const answer parsed = parse_answer(text);
    const size_t before = parsed.outcomes.empty() ? 0 : parsed.outcomes.size() - 1;
    const bool accepted = stop.stopped(parsed, before);
    print_answer(accepted ? stop.remove_from(text) : text, parsed, with.given.output);
    if (!accepted) stop_at_errors(parsed);
}

void send_as_it_stands(session &with, const std::string &request)
{
    const std::string text = with.daemon.ask(request);
    xml_doc document = parse_document(text, "the answer");
    if (std::strcmp(name_of(xmlDocGetRootElement(document.get())), "lsql_result") != 0) {
        write_out(text);
        expect_startup(*document); // the other thing that can be asked for
        return;
    }
    const answer parsed = read_answer(std::move(document));
    print_answer(text, parsed, with.given.output);
    stop_at_errors(parsed);
}

} // namespace

std::string input_name(const std::string &file)
{
    return file == "-" ? "standard input" : visible(file);
}

std::string read_input(const std::string &file)
{
    const std::unique_ptr<std::FILE, close_file> input{
        file == "-" ? stdin : std::fopen(file.c_str(), "rbe")};
    const auto complain = [&] {
        misuse("cannot read " + input_name(file) + ": " + std::strerror(errno));
    };
    if (!input) complain();
    std::string content;
    std::string block(size_t{64} * 1024, '\0');
    while (const size_t got = std::fread(block.data(), 1, block.size(), input.get())) {
        content.append(block, 0, got);
        if (content.size() > longest_input) misuse(input_name(file) + " is too long");
    }
    if (std::ferror(input.get())) complain();
    if (content.find('\0') != content.npos)
        misuse(input_name(file) + " holds a NUL, which ends a request");
    return content;
}

void raw(session &with)
{
    const std::string text = read_input(with.given.words[0]);
    if (text.empty()) misuse("the document is empty");
    if (!with.given.dry_run) {
        send_as_it_stands(with, text);
        return;
    }
    const xml_doc document = parse_xml(text, xml_source::file);
    if (!document) misuse("the request is not well-formed XML: " + fault_of_xml(text));
    xmlNode *root = xmlDocGetRootElement(document.get());
    // What is no request changes nothing, and what is wrong with it the daemon says best.
    if (is_request(root))
        rehearse_document(with, *document, root);
    else
        send_as_it_stands(with, text);
}

void startup(session &with)
{
    const std::string text = with.daemon.ask("<get_conf/>");
    const xml_doc document = parse_document(text, "the startup configuration");
    expect_startup(*document);
    const format as = with.given.output.value_or(format::xml);
    const xmlNode *root = xmlDocGetRootElement(document.get());
    write_out(as == format::xml ? text : instances_text(instances_in(root), as, titles::classes));
}

} // namespace vesk::client
