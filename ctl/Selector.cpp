#include "ctl/Selector.hpp"

#include <cctype>

namespace ctl {

namespace {

constexpr std::size_t guidLength = 35; // 32 digits and three dots
constexpr char everythingBelow[] = "//*";

bool isExpression(const std::string& path) {
    return path.find('/') != std::string::npos;
}

bool endsWith(const std::string& text, const std::string& end) {
    return text.size() >= end.size() && text.compare(text.size() - end.size(), end.size(), end) == 0;
}

} // namespace

std::optional<std::string> guidOf(const std::string& path) {
    const bool isWrapped = path.rfind("GUID(", 0) == 0 && path.back() == ')';
    std::string guid = isWrapped ? path.substr(5, path.size() - 6) : path;
    if (guid.size() != guidLength)
        return std::nullopt;
    for (std::size_t i = 0; i < guid.size(); ++i) {
        const auto c = static_cast<unsigned char>(guid[i]);
        if (i % 9 == 8 ? c != '.' : std::isxdigit(c) == 0)
            return std::nullopt;
        guid[i] = static_cast<char>(std::toupper(c));
    }
    return guid;
}

std::string expressionOf(const std::string& path) {
    if (isExpression(path))
        return path;
    if (const auto guid = guidOf(path))
        return "//GUID(" + *guid + ")";
    return "/applications/" + path;
}

std::vector<std::string> subtreeExpressionsOf(const std::string& path) {
    if (path.empty())
        return {everythingBelow};
    std::string expression = expressionOf(path);
    if (endsWith(expression, everythingBelow))
        return {expression};
    while (expression.size() > 1 && expression.back() == '/')
        expression.pop_back();
    if (expression == "/" || expression == "/applications")
        return {everythingBelow};
    return {expression, expression + everythingBelow};
}

std::vector<std::string> metricSelectorsOf(const std::string& path) {
    if (isExpression(path) || guidOf(path))
        return {expressionOf(path)};
    return subtreeExpressionsOf(path);
}

std::optional<std::string> anyResourceNamed(const std::string& path) {
    if (path.empty() || isExpression(path) || guidOf(path))
        return std::nullopt;
    return "//" + path;
}

} // namespace ctl
