#pragma once
// How the library names the place where it detected internal misuse, in the errors that carry a source
// position (IllegalArgumentException and its kin): "core/src/<unit>" and a line. A unit is the source
// file the check is in, without folder and extension ("PageTree"); a few keep the name their errors have
// always reported ("Context", "Type", "futureImpl").
//
//     throw IllegalArgumentException(KERN83_SOURCE_POSITION("PageTree"), ResourceKey{"IDS_ERR_ILLEGAL_ARGUMENT"});
//
// A file whose checks go through one helper keeps the file part in a constant and passes __LINE__:
//
//     constexpr char kSourceFile[] = KERN83_SOURCE_FILE("Line");
//
// Some positions are part of the published behaviour (callers compare them); those state their line
// with KERN83_SOURCE_POSITION_AT and say why.

#define KERN83_SOURCE_FILE(unit) "core/src/" unit
#define KERN83_SOURCE_POSITION(unit) KERN83_SOURCE_FILE(unit), __LINE__
#define KERN83_SOURCE_POSITION_AT(unit, line) KERN83_SOURCE_FILE(unit), line
