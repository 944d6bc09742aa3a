#ifndef VESK_CLIENTS_TRANSACTION_H
#define VESK_CLIENTS_TRANSACTION_H

#include <string>
#include <vector>

#include "clients/command.h"
#include "clients/request.h"

namespace vesk::client {

enum class verb { set, add, remove };

/** One change that a user asks for. */
struct change_request {
    verb what;
    selection which;
    std::vector<assignment> values;
    size_t line; // of a batch
};

/** Reads set, add or delete. Ends the command when it makes no sense. */
change_request read_change(const arguments &given, catalog &known);

/** What a change has touched, or would touch. */
struct effect {
    unsigned long touched = 0;
    std::vector<std::string> names; // of the instances; empty where they have none
};

/** How a transaction ended: with an effect for each change or with the first one at fault. */
struct verdict {
    std::string text; // the daemon's answer, without what a rehearsal has added to it
    answer parsed;
    bool accepted;
    std::vector<effect> effects; // of the changes before the one at fault
};

/** Makes all changes in one transaction, or none. */
verdict carry_out(const peer &daemon, const std::string &origin,
                  const std::vector<change_request> &changes);

/** Has all changes checked as if they were made; none is. */
verdict rehearse(const peer &daemon, const std::string &origin,
                 const std::vector<change_request> &changes);

/** An operation that fails when everything before it has succeeded, and nothing else does. */
class sentinel {
  public:
    sentinel();
    const std::string &operation() const { return operation_; }
    /** Whether these outcomes of that many operations and the sentinel fail at the sentinel alone.
     */
    bool stopped(const answer &all, size_t operations) const;
    /** The answer without the sentinel. */
    std::string remove_from(const std::string &answer_text) const;

  private:
    std::string error_;
    std::string operation_;
};

} // namespace vesk::client

#endif
