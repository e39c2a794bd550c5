// Running a part of a test as an ordinary user.
//
// The superuser may read and write everything, so a test about permissions proves nothing as root.
// `asUnprivilegedUser` runs a function in a child process under the user and group 65534 ("nobody") with a
// home folder of its own; started by an ordinary user it keeps that user. Assertions inside of the function
// work as ever, as in any part that runs in a child process. Where the superuser may not become another user,
// the test is skipped.
//
//   asUnprivilegedUser([](const std::string& home) {
//       TemporaryTree tree;  // below the home folder
//       ...
//       EXPECT_EQ(...);
//   });
//
// The child is a fork: threads of the parent do not exist there. Its home folder goes at the end whatever it
// left there.
#pragma once

#include <functional>
#include <string>

namespace larkfold::test {

// `work` gets the home folder, which is also $HOME; TMPDIR lies in it. The XDG folders are not set.
void asUnprivilegedUser(const std::function<void(const std::string& home)>& work);

}  // namespace larkfold::test
