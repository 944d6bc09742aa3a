#include <cstdio>
#include <cstring>
#include <string>
#include <vector>

#include <benchmark/benchmark.h>
#include <libxml/parser.h>
#include <libxml/tree.h>

#include "bench/objects.h"
#include "bench/requests.h"
#include "bench/result_tree.h"

// The same work in bare libxml2, for comparison.
//
//   baseline [--benchmark_OPTION]... DIR [OBJECTS]...   DIR holds config-OBJECTS.xml for each
//   baseline memory FILE    the bytes of physical memory that the tree of FILE takes
//   baseline answer         the answer to a select of 1,000 objects, written by libxml2

namespace {

using ::benchmark::State;

void parse_file(State &state, const std::string &file)
{
    for (auto _ : state)
        xmlFreeDoc(xmlParseFile(file.c_str()));
}

/** The tree is as it would be built: without the white space of the file that it stands for. */
void save_tree(State &state, const std::string &file)
{
    xmlDoc *document = xmlReadFile(file.c_str(), nullptr, XML_PARSE_NOBLANKS);
    const std::string copy = file + ".tree";
    for (auto _ : state)
        if (xmlSaveFormatFile(copy.c_str(), document, 1) < 0) state.SkipWithError("not saved");
    xmlFreeDoc(document);
}

void result_thousand(State &state)
{
    const vesk::bench::result_tree answer{vesk::bench::most_in_first_class};
    for (auto _ : state) {
        xmlDoc *document = answer.build();
        xmlChar *text = nullptr;
        int length = 0;
        xmlDocDumpMemory(document, &text, &length);
        benchmark::DoNotOptimize(text);
        xmlFree(text);
        xmlFreeDoc(document);
    }
}

void parse_text(State &state, const std::string &text)
{
    for (auto _ : state)
        xmlFreeDoc(xmlParseMemory(text.data(), static_cast<int>(text.size())));
}

template <typename Body> void add(const std::string &name, Body &&body)
{
    benchmark::RegisterBenchmark(name.c_str(), body)->Unit(benchmark::kMicrosecond);
}

void add_file_benchmarks(const std::string &directory, const std::string &objects)
{
    const std::string file = directory + "/config-" + objects + ".xml";
    add("parse_file/" + objects, [=](State &s) { parse_file(s, file); });
    add("save_tree/" + objects, [=](State &s) { save_tree(s, file); });
}

long resident_bytes()
{
    long kilobytes = 0;
    char line[256];
    std::FILE *status = std::fopen("/proc/self/status", "re");
    while (status && std::fgets(line, sizeof line, status))
        std::sscanf(line, "VmRSS: %ld", &kilobytes);
    if (status) std::fclose(status);
    return kilobytes * 1024;
}

int print_tree_memory(const char *file)
{
    xmlInitParser();
    const long before = resident_bytes();
    xmlDoc *document = xmlParseFile(file);
    std::printf("%ld\n", resident_bytes() - before);
    xmlFreeDoc(document);
    return 0;
}

int print_answer()
{
    const vesk::bench::result_tree answer{vesk::bench::most_in_first_class};
    const std::string text = answer.text();
    return std::fwrite(text.data(), 1, text.size(), stdout) == text.size() ? 0 : 1;
}

} // namespace

int main(int argc, char *argv[])
{
    if (argc == 3 && std::strcmp(argv[1], "memory") == 0) return print_tree_memory(argv[2]);
    if (argc == 2 && std::strcmp(argv[1], "answer") == 0) return print_answer();
    benchmark::Initialize(&argc, argv);
    if (argc < 2) {
        std::fputs("usage: baseline [--benchmark_OPTION]... DIR [OBJECTS]...\n", stderr);
        return 2;
    }
    std::vector<std::string> sizes{argv + 2, argv + argc};
    if (sizes.empty()) sizes = {"100", "1000", "10000", "100000"};
    add("result_thousand", result_thousand);
    add("parse_insert_thousand", [](State &s) { parse_text(s, vesk::bench::insert_thousand()); });
    for (const std::string &objects : sizes)
        add_file_benchmarks(argv[1], objects);
    benchmark::RunSpecifiedBenchmarks();
    return 0;
}
