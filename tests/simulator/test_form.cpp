#include "form.h"

#include <gtest/gtest.h>

using namespace simulator;

TEST(Form, FieldsAreDecoded)
{
    const FieldMap expected{
        {"login_user", "a b&c"}, {"login_password", "\xC3\xA4+%"}, {"redir", ""}, {"flag", ""}};
    EXPECT_EQ(formFields("login_user=a%20b%26c&login_password=%C3%A4%2B%&redir=&flag"), expected);
}

TEST(Form, PlusIsABlank)
{
    EXPECT_EQ(formFields("a=b+c"), (FieldMap{{"a", "b c"}}));
}

TEST(Form, QueryOfADocumentKeepsItsPath)
{
    EXPECT_EQ(formFields("tpl/j/csv.tpl&start=1&end=-2"),
              (FieldMap{{"tpl/j/csv.tpl", ""}, {"start", "1"}, {"end", "-2"}}));
}

TEST(Multipart, PartsAreSeparatedExactly)
{
    const std::string binary("--b\r\nContent-Disposition: form-data; name=\"image\"\r\n\r\na\r\nb\0c\r\n"
                             "\r\n--b\r\nContent-Disposition: form-data; name=\"redir\"\r\n\r\n\r\n--b--\r\n",
                             125);
    const auto parts = multipartFields("multipart/form-data; boundary=b", binary);
    ASSERT_TRUE(parts);
    EXPECT_EQ(*parts, (FieldMap{{"image", std::string("a\r\nb\0c\r\n", 8)}, {"redir", ""}}));
}

TEST(Multipart, IncompleteBodiesAreRefused)
{
    const std::string type = "multipart/form-data; boundary=b";
    EXPECT_FALSE(multipartFields(type, ""));
    EXPECT_FALSE(multipartFields(type, "--b\r\nContent-Disposition: form-data; name=\"image\"\r\n\r\nabc"));
    EXPECT_FALSE(multipartFields(type, "--b\r\nContent-Type: text\r\n\r\nabc\r\n--b--\r\n"))
        << "a part without name";
    EXPECT_FALSE(multipartFields("text/plain", "--b--\r\n"));
    EXPECT_FALSE(multipartFields("multipart/form-data", "--b--\r\n"));
}

TEST(Cookie, IsFoundAmongOthers)
{
    EXPECT_EQ(cookieValue("a=1; sid=abc; b=2", "sid"), "abc");
    EXPECT_FALSE(cookieValue("xsid=abc", "sid"));
    EXPECT_FALSE(cookieValue("", "sid"));
}
