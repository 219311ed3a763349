// The examples that NIST publishes for FIPS 180-4.
#include "host/Sha256.h"

#include <string>

#include <gtest/gtest.h>

namespace qvhost {
namespace {

std::string HashOf(const std::string& text) {
  Sha256 hash;
  hash.Add(text);
  return hash.Finish();
}

TEST(Sha256, HashesTheExamplesOfTheStandard) {
  EXPECT_EQ(HashOf("abc"), "ba7816bf8f01cfea414140de5dae2223b00361a396177a9cb410ff61f20015ad");
  EXPECT_EQ(HashOf(""), "e3b0c44298fc1c149afbf4c8996fb92427ae41e4649b934ca495991b7852b855");
  EXPECT_EQ(HashOf("abcdbcdecdefdefgefghfghighijhijkijkljklmklmnlmnomnopnopq"),
            "248d6a61d20638b8e5c026930c3e6039a33ce45964ff2167f6ecedd419db06c1");
  EXPECT_EQ(HashOf(std::string(1000000, 'a')),
            "cdc76e5c9914fb9281a1c7e284d73e67f1809a48a497200e046d39ccc7112cd0");
}

TEST(Sha256, DoesNotDependOnThePieces) {
  const std::string text(1000, 'x');
  for (const std::size_t piece : {1U, 7U, 63U, 64U, 65U, 999U}) {
    Sha256 hash;
    for (std::size_t at = 0; at < text.size(); at += piece) hash.Add(text.substr(at, piece));
    EXPECT_EQ(hash.Finish(), HashOf(text)) << piece;
  }
}

}  // namespace
}  // namespace qvhost
