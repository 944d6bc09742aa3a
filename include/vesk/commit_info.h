#ifndef VESK_COMMIT_INFO_H
#define VESK_COMMIT_INFO_H

#include "vesk/export.h"
#include "vesk/types.h"

VESK_BEGIN_DECLS

/*
 * What a provider's commit function receives. The record owns none of its members; all of them, and
 * the record, live until the commit function returns.
 */

/** New record. Null without memory. */
VESK_API vesk_commit_info *vesk_commit_info_new(vesk_instances *before, vesk_instances *after,
                                                vesk_changes *changes, vesk_actions *actions,
                                                void *data);

/** The configuration before the change. */
VESK_API vesk_instances *vesk_commit_info_get_before(const vesk_commit_info *info);

/** The configuration after the change. */
VESK_API vesk_instances *vesk_commit_info_get_after(const vesk_commit_info *info);

/** The change set. */
VESK_API vesk_changes *vesk_commit_info_get_changes(const vesk_commit_info *info);

/** The side effects asked for so far in this commit. */
VESK_API vesk_actions *vesk_commit_info_get_actions(const vesk_commit_info *info);

/** The provider's commit data. */
VESK_API void *vesk_commit_info_get_data(const vesk_commit_info *info);

/** Replaces the data. Ignores a null record. */
VESK_API void vesk_commit_info_set_data(vesk_commit_info *info, void *data);

/** Frees the record only. */
VESK_API void vesk_commit_info_delete(vesk_commit_info *info);

VESK_END_DECLS

#endif
