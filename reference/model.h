#ifndef REFERENCE_MODEL_H
#define REFERENCE_MODEL_H

/*
 * The data model as the plug-ins declared it, for those that work on every class. The interface has
 * no functions that give the name or the flags of a class or property, but it prints them.
 */
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <new>
#include <sstream>
#include <string>
#include <vector>

#include <vesk/vesk.h>

struct property_facts {
    std::string name;
    bool readable = false;
    bool writable = false;
    bool required = false;
    bool persistent = false;
};

struct class_facts {
    std::string name;
    std::string type;
    std::string superclass; // empty where there is none
    std::string identifier; // of an abstract class: the property that names the subclass
    bool persistent = false;
    std::vector<property_facts> properties; // its own

    bool abstract() const { return !identifier.empty(); }
};

/** What print(stream) prints, line by line. */
template <typename Print> std::vector<std::string> printed_lines(Print print)
{
    char *text = nullptr;
    size_t length = 0;
    FILE *stream = open_memstream(&text, &length);
    if (!stream) throw std::bad_alloc{};
    print(stream);
    const bool complete = fclose(stream) == 0;
    const std::unique_ptr<char, void (*)(void *)> owner{text, std::free};
    if (!complete) throw std::bad_alloc{};
    std::vector<std::string> lines;
    std::istringstream input{text};
    for (std::string line; std::getline(input, line);)
        lines.push_back(line);
    return lines;
}

/** "rwip", "-" for a flag that is not set: readable, writable, required on insert, persistent. */
inline property_facts read_property(std::istringstream &words)
{
    std::string name;
    std::string flags;
    words >> name >> flags;
    flags.resize(4, '-');
    return {name, flags[0] == 'r', flags[1] == 'w', flags[2] == 'i', flags[3] == 'p'};
}

/** All classes, in the order in which they were registered; complete once the start is over. */
inline std::vector<class_facts> registered_classes()
{
    std::vector<class_facts> classes;
    for (const std::string &line : printed_lines(vesk_classes_print)) {
        std::istringstream words{line};
        std::string label;
        std::string skipped;
        words >> label;
        if (label == "Class:") {
            class_facts cls;
            words >> cls.name >> skipped >> cls.type >> skipped >> skipped;
            cls.persistent = skipped != "0";
            classes.push_back(cls);
        } else if (classes.empty()) {
            continue;
        } else if (label == "Property:") {
            classes.back().properties.push_back(read_property(words));
        } else if (label == "Superclass:") {
            words >> classes.back().superclass;
        } else if (label == "Abstract") {
            classes.back().identifier = line.substr(line.rfind(' ') + 1);
        }
    }
    return classes;
}

#endif
