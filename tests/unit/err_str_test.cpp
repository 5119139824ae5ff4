#include "support/err_str.h"

#include "declared_names.h"

#include <gtest/gtest.h>

#include <string>

/* JVMTI's names are shown, and JVMDI's for the codes that JVMTI does not have. What JVMTI has added since its version 1.0 has no
 * name here: output that others read would change. */
static number_names expected_names() {
    number_names names = declared_by_jvmti("JVMTI_ERROR_");
    for (const char* added : {"INVALID_MODULE", "UNSUPPORTED_REDEFINITION_CLASS_ATTRIBUTE_CHANGED",
                              "UNSUPPORTED_OPERATION", "UNMODIFIABLE_MODULE", "CLASS_LOADER_UNSUPPORTED"})
        std::erase_if(names, [=](const auto& named) { return named.second == added; });
    names.merge(declared_by_jvmdi("JVMDI_ERROR_"));
    return names;
}

TEST(ErrStr, EveryCodeHasItsNameOrIsUnknown) {
    const number_names names = expected_names();
    ASSERT_EQ(50u, names.size());
    for (jint code = -5; code <= 130; code++) {
        const auto named = names.find(code);
        const std::string expected = named != names.end() ? named->second : "UNKNOWN " + std::to_string(code);
        EXPECT_EQ(expected, err_str(code));
    }
}

TEST(ErrStr, UnknownTextHoldsTheLargestAndTheSmallestNumber) {
    EXPECT_STREQ("UNKNOWN 2147483647", err_str(2147483647));
    EXPECT_STREQ("UNKNOWN -2147483648", err_str(-2147483647 - 1));
}

TEST(ErrStr, UnknownCodesShareOneBufferAndNamesDoNotTouchIt) {
    const char* first = err_str(114);
    const char* name = err_str(113);
    EXPECT_STREQ("UNKNOWN 114", first);
    EXPECT_EQ(first, err_str(117));
    EXPECT_STREQ("UNKNOWN 117", first);
    EXPECT_STREQ("INTERNAL", name);
}

TEST(ErrStr, NamesAreConstants) {
    EXPECT_EQ(err_str(70), err_str(70));
    EXPECT_NE(err_str(70), err_str(71));
}

TEST(ErrStr, OnlyCode112IsTheWrongPhase) {
    for (jint code = -2; code <= 120; code++) EXPECT_EQ(code == 112 ? 1 : 0, err_is_wrongphase(code)) << code;
}
