#ifndef VESK_TESTS_XML_DIFFERENTIAL_LOAD_FIXTURE_H
#define VESK_TESTS_XML_DIFFERENTIAL_LOAD_FIXTURE_H

#include <optional>
#include <string>

#include <libxml/tree.h>

#include "tests/xml_differential/house.h"

namespace vesk::test {

/** Everything that a load shows to the outside. */
struct loading {
    int status = 0;
    std::string running;   // as it is printed
    std::string commits;   // what the provider was told
    std::string questions; // what the validators were asked
    std::string log;
    std::string startup; // the file afterwards
    std::string kept;    // what was put beside because it could not be read
    bool operator==(const loading &) const = default;
};

/** What is loaded in the place of a file that cannot be read. */
struct fallback {
    std::optional<std::string> rescue_file; // none: missing
    std::optional<std::string> default_body;
};

/** Loads documents with the daemon's loader and with the reference. */
class load_fixture : public house {
  protected:
    load_fixture();

    /** Loads document both ways, and expects the same. What the reference did. */
    loading expect_the_same(const std::string &document);

    fallback behind_;
    int level_ = 1;

  private:
    loading load_by_product(const std::string &document);
    loading load_by_reference(const std::string &document);
    void load_plainly_into(loading &done);
    std::string commit_plainly(const xmlDoc &document);
    std::string stand_in(const std::string &document);
    std::string smallest(std::string document);
    bool shorten(std::string &document, size_t from, size_t length);
    bool take_away_elements(std::string &document);
    bool take_away_bytes(std::string &document);
    void explain(const std::string &document);
    void put_files(const std::string &document);
    full_instances_ptr running_before();

    std::optional<std::string> rescue_written_;
    size_t trials_ = 0; // that are left to make a document smaller
};

} // namespace vesk::test

#endif
