#include "tests/xml_differential/load_fixture.h"

#include <algorithm>
#include <unistd.h>

#include "core/log.h"
#include "pipeline/changes.h"
#include "tests/xml_differential/reference_loader.h"
#include "vesk/config.h"

namespace vesk::test {
namespace {

/** What action logs. */
template <typename Action> std::string logged_by(Action &&action)
{
    return printed([&](std::FILE *stream) {
        std::FILE *before = exchange_log_stream(stream);
        action();
        exchange_log_stream(before);
    });
}

} // namespace

load_fixture::load_fixture()
{
    behind_.rescue_file = "<config><user><login>rescue</login></user></config>";
}

/** What was running before the load must not be taken for what is loaded. */
full_instances_ptr load_fixture::running_before()
{
    full_instances_ptr all{vesk_instances_new()};
    vesk_instances_add(all.get(), make("radio", "old0", {{"ssid", "before"}}).release());
    vesk_instances_add(all.get(), make("system", nullptr, {{"contact", "before"}}).release());
    return all;
}

void load_fixture::put_files(const std::string &document)
{
    write_file(startup_, document);
    unlink(kept_.c_str());
    if (behind_.rescue_file == rescue_written_) return;
    if (behind_.rescue_file)
        write_file(rescue_, *behind_.rescue_file);
    else
        unlink(rescue_.c_str());
    rescue_written_ = behind_.rescue_file;
}

loading load_fixture::load_by_product(const std::string &document)
{
    put_files(document);
    vesk_config_replace_running(running_before().release());
    take_commits();
    take_questions();
    loading done;
    done.log = logged_by([&] { done.status = vesk_config_copy_startup_to_running(); });
    done.running = printed_collection(vesk_config_get_running());
    done.commits = take_commits();
    done.questions = take_questions();
    done.startup = content_of_file(startup_);
    done.kept = content_of_file(kept_);
    return done;
}

/** What the store reports while it puts something else in the place of an unreadable file. */
std::string load_fixture::stand_in(const std::string &document)
{
    say("Unable to parse startup config - resetting to default.\n");
    if (behind_.default_body) return *behind_.default_body;
    if (level_ > 0) say("Default file %s does not exist.\n", image_.c_str());
    if (behind_.rescue_file) return *behind_.rescue_file;
    say("vesk_config_cp: Can't open %s\n", rescue_.c_str());
    return document;
}

loading load_fixture::load_by_reference(const std::string &document)
{
    const full_instances_ptr before = running_before();
    take_commits();
    take_questions();
    loading done;
    done.startup = document;
    done.kept = "missing";
    done.running = printed_collection(before.get());
    done.log = logged_by([&] { load_plainly_into(done); });
    done.commits = take_commits();
    done.questions = take_questions();
    return done;
}

void load_fixture::load_plainly_into(loading &done)
{
    tree_ptr document = parse_plainly(done.startup);
    if (!document) {
        done.kept = done.startup;
        done.startup = stand_in(done.startup);
        document = parse_plainly(done.startup);
    }
    if (document) {
        done.running = commit_plainly(*document);
    } else {
        say("Unable to read the default either.");
        done.status = 1;
    }
}

/** Loads into a collection of its own, which its provider hears of; what is running then. */
std::string load_fixture::commit_plainly(const xmlDoc &document)
{
    const full_instances_ptr running{vesk_instances_new()};
    const changes_ptr changes{vesk_changes_new(running.get())};
    set_running_for_validators(running.get());
    load_plainly(document, *running, *changes);
    set_running_for_validators(nullptr);
    vesk_providers_commit(running.get(), changes.get(), nullptr);
    return printed_collection(running.get());
}

loading load_fixture::expect_the_same(const std::string &document)
{
    if (vesk_debug_get() != level_) set_level(level_);
    const loading product = load_by_product(document);
    loading reference = load_by_reference(document);
    if (product != reference) explain(document);
    return reference;
}

/** Whether the difference does not need what stands there; then it is taken away. */
bool load_fixture::shorten(std::string &document, size_t from, size_t length)
{
    if (trials_ == 0) return false;
    --trials_;
    std::string shorter = document;
    shorter.erase(from, length);
    if (load_by_product(shorter) == load_by_reference(shorter)) return false;
    document = std::move(shorter);
    return true;
}

/** Takes away elements, or whatever else begins and ends as a tag does, long ones first. */
bool load_fixture::take_away_elements(std::string &document)
{
    bool any = false;
    for (size_t from = document.find('<'); from != document.npos;) {
        bool gone = false;
        for (size_t to = document.rfind('>'); !gone && to != document.npos && to > from;
             to = document.rfind('>', to - 1))
            gone = shorten(document, from, to + 1 - from);
        any |= gone;
        from = document.find('<', gone ? from : from + 1);
    }
    return any;
}

bool load_fixture::take_away_bytes(std::string &document)
{
    bool any = false;
    for (size_t chunk = document.size(); chunk > 0; chunk /= 2)
        for (size_t at = 0; at < document.size();)
            if (shorten(document, at, chunk))
                any = true;
            else
                at += chunk;
    return any;
}

std::string load_fixture::smallest(std::string document)
{
    constexpr size_t most_bytes = 50'000'000; // to be loaded meanwhile: some seconds
    trials_ = std::clamp<size_t>(most_bytes / (document.size() + 1), 20, 20000);
    for (bool shorter = true; shorter;) {
        shorter = take_away_elements(document);
        shorter |= take_away_bytes(document);
    }
    return document;
}

void load_fixture::explain(const std::string &document)
{
    const std::string small = smallest(document);
    const loading product = load_by_product(small);
    const loading reference = load_by_reference(small);
    EXPECT_EQ(product.status, reference.status);
    EXPECT_EQ(product.running, reference.running);
    EXPECT_EQ(product.commits, reference.commits);
    EXPECT_EQ(product.questions, reference.questions);
    EXPECT_EQ(product.log, reference.log);
    EXPECT_EQ(product.startup, reference.startup);
    EXPECT_EQ(product.kept, reference.kept);
    ADD_FAILURE() << "the product (above) does not load as the reference (below it); debug level "
                  << level_ << ", smallest document: " << ::testing::PrintToString(small)
                  << "\nfirst document: " << ::testing::PrintToString(document)
                  << "\nrescue file: " << ::testing::PrintToString(behind_.rescue_file);
}

} // namespace vesk::test
