#ifndef VESK_CLIENTS_CATALOG_H
#define VESK_CLIENTS_CATALOG_H

#include <map>
#include <string>
#include <vector>

#include "clients/answer.h"
#include "clients/peer.h"

namespace vesk::client {

struct class_facts {
    std::string name;
    std::string superclass; // empty: none
};

struct property_facts {
    std::string name;
    bool writable = true;
    bool required = false;
};

/**
 * What classes and properties there are. The daemon says so itself where it has the classes
 * schema_class and schema_property; elsewhere it is seen from the instances that there are. Asked
 * for once.
 */
class catalog {
  public:
    explicit catalog(const peer &daemon) : daemon_{daemon} {}

    /** All classes; without a schema those in the startup file. */
    const std::vector<class_facts> &classes();

    /** The properties of a class, of its superclass and of its subclasses; none where unknown. */
    std::vector<property_facts> properties_declared(const std::string &class_name);
    /** The properties that the instances of a class have in the startup file. */
    std::vector<property_facts> properties_saved(const std::string &class_name);
    /** Those declared, or else those of the instances that are running; none where unknown. */
    const std::vector<property_facts> &properties(const std::string &class_name);

    /** Ends the command when a class is known and has no such property. */
    void expect_properties(const std::string &class_name, const std::vector<std::string> &expected);

  private:
    void read_schema();
    const xmlNode *startup();
    std::vector<property_facts> properties_running(const std::string &class_name) const;
    bool is_family(const std::string &class_name, const std::string &other);

    const peer &daemon_;
    bool asked_ = false;
    answer schema_;
    xml_doc startup_;
    std::vector<class_facts> classes_;
    std::map<std::string, std::vector<property_facts>> properties_;
};

/** Whether one of these properties is called so. */
bool contains(const std::vector<property_facts> &properties, const std::string &name);

} // namespace vesk::client

#endif
