// What tests need of the machine that not every machine grants, by name.
//
// A container, a chroot or an ordinary account may grant no namespace, mount or tracing. A test that needs
// one asks for it here, itself or by what it uses, and is skipped with the reason where it is missing: a test
// that could not run has not failed, and `scripts/test` counts it.
#pragma once

#include <string>

namespace larkfold::test {

enum class Need {
    mounts,  // a namespace of its own in which a process may mount, as the superuser or by a user namespace
    watchLimits,     // a user namespace within that one that limits how many folders may be watched
    fuse,            // a file system whose program is the test
    tracing,         // showing, failing and ending the system calls of a program
    otherUsers,      // becoming another user, and giving files away
    immutableFiles,  // files that nobody may change, where the tests' temporary files lie
};

// Tried out once for each process.
bool isGranted(Need need);

// Ends the running test as skipped unless the need is granted. On the thread of the test.
void require(Need need);

// Ends the running test, which has been marked as skipped.
[[noreturn]] void endSkippedTest();

// Makes this process one with a mount namespace of its own, in which it may mount and nobody else sees it.
// Returns 0 or what the system said.
int enterPrivateNamespace();

// Of every test program: writes the tests that were skipped, with the reason, to the end of the file that
// LARKFOLD_SKIPPED_TESTS names.
void listSkippedTests();

}  // namespace larkfold::test
