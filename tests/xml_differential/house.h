#ifndef VESK_TESTS_XML_DIFFERENTIAL_HOUSE_H
#define VESK_TESTS_XML_DIFFERENTIAL_HOUSE_H

#include <string>
#include <vector>

#include "config/paths.h"
#include "tests/support/owned.h"

namespace vesk::test {

/** What the validators of a property take. */
enum class takes {
    anything,     // it has no validator
    all_but_bad,  // not what begins "bad"
    number,       // digits only
    known_radio,  // the name of a radio that is running already
    when_not_off, // anything while the property "mode" of the instance is not "off"
};

struct property_spec {
    const char *name;
    takes values = takes::all_but_bad;
    bool required = false;
    bool saved = true;
};

struct class_spec {
    const char *name;
    unsigned type;
    std::vector<property_spec> properties;
    bool saved = true;
    const char *superclass = nullptr;
    const char *identifier = nullptr; // of an abstract class
};

/** Classes of each type, with what makes loading refuse things. */
const std::vector<class_spec> &class_specs();

/** What a commit told the provider, and what the validators were asked, since the last call. */
std::string take_commits();
std::string take_questions();

/** The collection that validators take for running instead of running itself; null ends that. */
void set_running_for_validators(const vesk_instances *running);

/** A house of these classes, a provider that writes down its commits, and the store's own folder.
 */
class house : public fixture {
  protected:
    house();
    ~house() override;

    static std::string printed_collection(const vesk_instances *all)
    {
        return printed([&](FILE *stream) { vesk_instances_print(all, stream); });
    }

    std::string folder_;
    std::string startup_, kept_, rescue_, image_;

  private:
    void use_own_files();

    config_paths files_before_;
    std::string body_, digest_, check_;
    std::vector<class_ptr> classes_;
    std::unique_ptr<vesk_provider> provider_;
};

/** The bytes of a file, "missing" when there is none. */
std::string content_of_file(const std::string &path);
void write_file(const std::string &path, const std::string &bytes);

} // namespace vesk::test

#endif
