#include "query/result.h"

#include <optional>
#include <vector>

#include "base/text.h"
#include "model/iterator.h"
#include "tests/xml_differential/random_configuration.h"
#include "tests/xml_differential/seeds.h"
#include "tests/xml_differential/texts.h"
#include "tests/xml_differential/tree.h"
#include "vesk/config.h"
#include "vesk/query.h"

// An answer is to the byte what libxml2 would write of it.

namespace vesk::test {
namespace {

struct row {
    std::string element;
    std::optional<std::string> name;
    std::vector<std::pair<std::string, std::optional<std::string>>> values;
};

/** One thing that arises while a request is answered. */
struct part {
    enum { error, counts, dataset } kind;
    std::string message = {};
    unsigned errors = 0;
    unsigned touched = 0;
    std::vector<row> rows = {};
};

const char *or_null(const std::optional<std::string> &text)
{
    return text ? text->c_str() : nullptr;
}

void write_dataset(result &out, const std::vector<row> &rows)
{
    out.begin_dataset();
    for (const row &instance : rows) {
        out.begin_instance(instance.element, or_null(instance.name));
        for (const auto &[name, value] : instance.values)
            out.property(instance.element, name, or_null(value));
        out.end_instance(instance.element);
    }
    out.end_dataset();
}

/** The only place that knows how the product's result is made. */
std::string written_by_product(const std::vector<part> &parts)
{
    std::string text;
    result out{text};
    for (const part &each : parts)
        switch (each.kind) {
        case part::error:
            out.error(each.message);
            break;
        case part::counts:
            out.counts(each.errors, each.touched);
            break;
        case part::dataset:
            write_dataset(out, each.rows);
        }
    out.finish();
    return text;
}

void add_rows(xmlNode *dataset, const std::vector<row> &rows)
{
    for (const row &instance : rows) {
        xmlNode *element = tree::add(dataset, instance.element);
        if (instance.name) tree::set_attribute(element, "name", *instance.name);
        for (const auto &[name, value] : instance.values)
            if (value)
                tree::add(element, name, *value);
            else
                tree::add(element, name);
    }
}

std::string written_by_libxml2(const std::vector<part> &parts)
{
    const tree answer{"lsql_result"};
    xmlNode *root = answer.root();
    for (const part &each : parts)
        switch (each.kind) {
        case part::error:
            tree::add(root, "error", each.message);
            break;
        case part::counts:
            tree::add(root, "rc", std::to_string(each.errors));
            tree::add(root, "counter", std::to_string(each.touched));
            break;
        case part::dataset:
            add_rows(tree::add(root, "dataset"), each.rows);
        }
    return text_of(answer.document());
}

std::string random_name(dice &die)
{
    constexpr const char *names[] = {"a", "radio", "x.y-z_1", "ssid", "name", "lsql_result"};
    return die.percent(2) ? std::string(300, 'n') : die.among(names);
}

row random_row(dice &die)
{
    row instance{random_name(die), std::nullopt, {}};
    if (die.percent(70)) instance.name = random_bytes(die);
    for (unsigned left = die.below(5); left > 0; --left) {
        std::optional<std::string> value;
        if (die.percent(85)) value = random_bytes(die);
        instance.values.emplace_back(random_name(die), std::move(value));
    }
    return instance;
}

part random_part(dice &die)
{
    switch (die.below(3)) {
    case 0:
        return {part::error, random_bytes(die)};
    case 1:
        return {part::counts, {}, die.below(3), die.below(100000)};
    default:
        part dataset{part::dataset};
        for (unsigned left = die.below(4); left > 0; --left)
            dataset.rows.push_back(random_row(die));
        return dataset;
    }
}

TEST(ResultAsLibxml2, RandomAnswers)
{
    const log_capture reports; // what XML cannot hold is reported
    for_each_seed(12000, [](dice &die) {
        std::vector<part> parts;
        for (unsigned left = die.below(6); left > 0; --left)
            parts.push_back(random_part(die));
        ASSERT_EQ(written_by_product(parts), written_by_libxml2(parts));
    });
}

/** Requests against a running configuration with values of every kind. */
class AnswerAsLibxml2 : public house {
  protected:
    AnswerAsLibxml2() { set_level(0); }

    /** A class, abstract or not, that there is, or one that there is not. */
    std::string random_class(dice &die)
    {
        return die.percent(5) ? "modem" : die.among(class_specs()).name;
    }

    void select(dice &die)
    {
        const std::string cls = random_class(die);
        const bool all = die.percent(50);
        std::vector<std::string> names;
        for (unsigned left = all ? 0 : die.below(4); left > 0; --left)
            names.push_back(random_property(die));
        request_ += "<select><" + cls + (all ? " properties=\"all\">" : ">");
        for (const std::string &name : names)
            request_ += "<" + name + "/>";
        request_ += "</" + cls + "></select>";
        part dataset{part::dataset};
        if (vesk_classes_get(cls.c_str())) dataset.rows = rows_of(cls, all, names);
        const auto touched = static_cast<unsigned>(dataset.rows.size());
        expected_.push_back(std::move(dataset));
        expected_.push_back({part::counts, {}, 0, touched});
    }

    std::string random_property(dice &die)
    {
        const auto &properties = die.among(class_specs()).properties;
        return die.percent(10) ? "nothing" : die.among(properties).name;
    }

    static std::vector<row> rows_of(const std::string &cls, bool all,
                                    const std::vector<std::string> &names)
    {
        std::vector<row> rows;
        const iterator_ptr iterator{
            vesk_instances_new_class_iterator(vesk_config_get_running(), cls.c_str())};
        while (const vesk_instance *instance = vesk_instances_iterator_next(iterator.get())) {
            row &fresh = rows.emplace_back(row{cls, std::nullopt, {}});
            if (const char *name = vesk_instance_get_name(instance)) fresh.name = name;
            for (const std::string &name : all ? properties_of(*instance->cls) : names) {
                const char *value = vesk_instance_get_value(instance, name.c_str());
                fresh.values.emplace_back(name,
                                          value ? std::optional<std::string>{value} : std::nullopt);
            }
        }
        return rows;
    }

    static std::vector<std::string> properties_of(const vesk_class &cls)
    {
        std::vector<std::string> names;
        const property_iterator_ptr iterator{vesk_class_new_property_iterator(&cls)};
        while (const auto *property = vesk_class_property_iterator_next(iterator.get()))
            names.push_back(property->name);
        return names;
    }

    /** An operation that does not exist: nothing is looked up, and the datasets stay empty. */
    void end_with_an_unknown_operation()
    {
        request_ += "<frobnicate>x</frobnicate>"; // an empty one would be passed over
        std::vector<part> errors;
        for (part &each : expected_)
            if (each.kind == part::dataset) errors.push_back({part::dataset});
        errors.push_back({part::error, "Invalid operation \"frobnicate\"."});
        errors.push_back({part::counts, {}, 1, 0});
        expected_ = std::move(errors);
    }

    /** A value that is refused is told with its markup, as far as there is an instance. */
    void end_with_a_refused_value(dice &die)
    {
        const std::string value = "bad" + few_characters(die);
        const tree change{"user"};
        tree::add(change.root(), "login", value);
        const std::string text = text_of(change.document());
        request_ += "<update>" + text.substr(text.find('\n') + 1) + "</update>";
        request_.erase(request_.rfind('\n'), 1);
        const bool is_met = !rows_of("user", false, {}).empty();
        if (is_met)
            expected_.push_back({part::error, "Value \"" + value +
                                                  "\" is not valid for property \"login\" of "
                                                  "class \"user\"."});
        expected_.push_back({part::counts, {}, is_met ? 1U : 0U, 0});
    }

    /** So few that the message is not cut. */
    static std::string few_characters(dice &die)
    {
        std::string text;
        for (unsigned left = die.below(8); left > 0; --left)
            append_utf8(text, random_character(die));
        return text;
    }

    std::string request_;
    std::vector<part> expected_;
};

TEST_F(AnswerAsLibxml2, RandomRequests)
{
    for_each_seed(6000, [&](dice &die) {
        random_configuration configuration{die};
        vesk_config_replace_running(configuration.release());
        request_ = "<lsql>";
        expected_.clear();
        for (unsigned left = die.between(1, 4); left > 0; --left)
            select(die);
        if (die.percent(10))
            end_with_an_unknown_operation();
        else if (die.percent(20))
            end_with_a_refused_value(die);
        request_ += "</lsql>";
        SCOPED_TRACE(request_);
        const c_string answer{vesk_query_eval(request_.c_str())};
        ASSERT_TRUE(answer);
        ASSERT_EQ(answer.get(), written_by_libxml2(expected_));
    });
}

} // namespace
} // namespace vesk::test
