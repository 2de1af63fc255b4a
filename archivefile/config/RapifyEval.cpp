// The evaluator of __EVAL: a strictly left-to-right calculator over integers, floats and strings.
// There is no operator precedence, so 1+2*3 gives 9, as configs written for it expect.
#include <charconv>
#include <cmath>
#include <cstdint>
#include <string>
#include <string_view>

#include "archivefile/config/ConfigCharacters.h"
#include "archivefile/config/Rapify.h"
#include "archivefile/foundation/GenString.h"

namespace archivefile {

namespace {

using configtext::isBlank;

constexpr int MaxEvalDepth = 256;

struct EvalValue {
    enum Type { Empty, Integer, Float, String, Unprocessable } type = Empty;
    std::int32_t integer = 0;
    float real = 0;
    std::string text;
};

bool isOperator(char c) { return c == '(' || c == ')' || c == '*' || c == '+' || c == '-' || c == '/'; }

// The runtime's integer conversion: digits, wrapping past 32 bits.
std::int32_t integerOf(std::string_view digits) {
    std::uint32_t value = 0;
    for (const char c : digits) value = value * 10u + static_cast<std::uint32_t>(c - '0');
    return static_cast<std::int32_t>(value);
}

float floatOf(std::string_view text) {
    float value = 0;
    const auto result = std::from_chars(text.data(), text.data() + text.size(), value);
    return result.ec == std::errc() ? value : 0.0f;
}

// Reads one token and the operator character that ends it. False is a failure: text that ends
// before its terminator, or something other than blanks after a closing quote.
bool readToken(std::string_view text, std::size_t& position, EvalValue& value, char& terminator, bool& empty) {
    value = {};
    value.type = EvalValue::Integer;
    empty = true;
    bool afterQuote = false;
    std::string token;
    while (position < text.size()) {
        const char c = text[position];
        if (isOperator(c)) {
            terminator = c;
            ++position;
            if (value.type == EvalValue::Integer) value.integer = integerOf(token);
            else if (value.type == EvalValue::Float) value.real = floatOf(token);
            value.text = std::move(token);
            return true;
        }
        ++position;
        if (isBlank(c)) continue;
        if (afterQuote) return false;
        empty = false;
        if (c == '"') {
            const std::size_t close = text.find('"', position);
            if (close == std::string_view::npos) return false;
            token.append(text.substr(position, close - position));
            position = close + 1;
            value.type = EvalValue::String;
            afterQuote = true;
        } else if (c == '.') {
            value.type = value.type == EvalValue::Integer ? EvalValue::Float : EvalValue::String;
            token += c;
        } else {
            if (c < '0' || c > '9') value.type = EvalValue::String;
            token += c;
        }
    }
    return false;
}

float arithmetic(float a, char op, float b) {
    switch (op) {
    case '+': return a + b;
    case '-': return a - b;
    case '*': return a * b;
    default: return a / b;
    }
}

// Combines the accumulator with an operand by the pending operator; false is a failure.
bool combine(EvalValue& accumulator, char op, const EvalValue& operand) {
    using T = EvalValue;
    if (accumulator.type == T::Unprocessable) return true;
    if (accumulator.type == T::Empty || operand.type == T::Unprocessable) {
        accumulator = operand;
        return true;
    }
    const bool numberAccumulator = accumulator.type == T::Integer || accumulator.type == T::Float;
    const bool numberOperand = operand.type == T::Integer || operand.type == T::Float;
    if (numberAccumulator && numberOperand) {
        if (accumulator.type == T::Integer && operand.type == T::Integer) {
            // Wrapping arithmetic; a division by zero has no value and is refused.
            const auto a = static_cast<std::uint32_t>(accumulator.integer);
            const auto b = static_cast<std::uint32_t>(operand.integer);
            switch (op) {
            case '+': accumulator.integer = static_cast<std::int32_t>(a + b); break;
            case '-': accumulator.integer = static_cast<std::int32_t>(a - b); break;
            case '*': accumulator.integer = static_cast<std::int32_t>(a * b); break;
            default:
                if (operand.integer == 0) accumulator.type = T::Unprocessable;
                else if (operand.integer == -1) accumulator.integer = static_cast<std::int32_t>(0u - a);
                else accumulator.integer /= operand.integer;
                break;
            }
            return true;
        }
        const float a = accumulator.type == T::Float ? accumulator.real : static_cast<float>(accumulator.integer);
        const float b = operand.type == T::Float ? operand.real : static_cast<float>(operand.integer);
        accumulator.type = T::Float;
        accumulator.real = arithmetic(a, op, b);
        return true;
    }
    if (accumulator.type == T::String && operand.type == T::String) {
        if (op != '+') return false;
        accumulator.text += operand.text;
        return true;
    }
    if (accumulator.type == T::String && operand.type == T::Integer && op == '+') {
        accumulator.text += std::to_string(operand.integer);
        return true;
    }
    accumulator.type = T::Unprocessable;
    return true;
}

// Evaluates up to the closing parenthesis of the group that `position` is inside.
bool evaluateGroup(std::string_view text, std::size_t& position, int depth, EvalValue& result) {
    EvalValue accumulator;
    char pending = '+';
    for (;;) {
        EvalValue operand;
        char terminator = '\0';
        bool empty = true;
        if (!readToken(text, position, operand, terminator, empty)) return false;
        if (terminator == '(') {
            if (!empty || depth >= MaxEvalDepth) return false;
            if (!evaluateGroup(text, position, depth + 1, operand)) return false;
            EvalValue after;
            if (!readToken(text, position, after, terminator, empty) || !empty || terminator == '(') return false;
        }
        if (!combine(accumulator, pending, operand)) return false;
        if (terminator == ')') {
            result = std::move(accumulator);
            return true;
        }
        pending = terminator;
    }
}

}  // namespace

void Rapify::evaluate(std::string_view expression, std::string& out) {
    std::string text(expression);
    text += ')';
    std::size_t position = 0;
    EvalValue result;
    if (!evaluateGroup(text, position, 0, result) || position != text.size()) fail(RAP_BadEval);
    switch (result.type) {
    case EvalValue::Integer:
        out += std::to_string(result.integer);
        break;
    case EvalValue::Float: {
        if (!std::isfinite(result.real)) fail(RAP_EvalUnprocessable);
        // A float result stays a float when the parser types it.
        std::string number = GenString::floatText(result.real);
        if (number.find_first_of(".e") == std::string::npos) number += ".0";
        out += number;
        break;
    }
    case EvalValue::String:
        out += '"';
        out += result.text;
        out += '"';
        break;
    default:
        fail(RAP_EvalUnprocessable);
    }
}

}  // namespace archivefile
