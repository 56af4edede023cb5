#include "SFFieldNode.h"
#include "SFFormulaFunctions.h"
#include "SFFormulaLexer.h"
#include "ZULPI.h"

#include <algorithm>
#include <optional>
#include <unordered_map>

namespace SF {
namespace {

using Token = SFFormulaLexer::Token;
using Values = std::map<std::string, double>;

/// Reads expressions with operators of different precedence by two stacks (E. W. Dijkstra, "Algol 60 translation", 1961), so
/// that no text makes the machine stack deep.
class Parser
{
public:
  Parser(std::string_view iText, Values const& iValues, SFResourceResolver* iResolver)
    : _lexer(iText), _replaced(iValues), _resolver(iResolver)
  {
    for (auto const& [name, field] : {std::pair{"x", SFField::X()},
                                      {"y", SFField::Y()},
                                      {"z", SFField::Z()},
                                      {"pi", SFField(ZULPI)},
                                      {"deg", SFField(ZULPI / 180.0)},
                                      {"inf", SFField(Infinity)},
                                      {"nan", SFField(std::numeric_limits<double>::quiet_NaN())}})
      _names.emplace(name, Named{field, true});
  }

  void Run()
  {
    while (SkipLineEnds())
      ReadStatement();
    if (!_model)
      _lexer.Fail("a formula ends with its model, and there is none");
    for (auto const& entry : _replaced)
      if (std::none_of(_parameters.begin(), _parameters.end(),
                       [&](SFParameterInfo const& iInfo) { return iInfo.name == entry.first; }))
        throw std::invalid_argument("the formula has no parameter '" + entry.first + "'");
  }

  SFField const& Model() const { return *_model; }
  std::vector<SFParameterInfo> const& GetParameters() const { return _parameters; }

private:
  struct Named
  {
    SFFormulaValue value;
    bool isFixed = false; ///< known before the formula
  };

  /// What waits for an operand or for its closing bracket.
  struct Pending
  {
    enum Kind
    {
      Operator,
      Group,
      List,
      Function
    };
    Kind kind;
    Token token;        ///< where it stands
    std::size_t values; ///< how many values lay below it
    SFFormulaRow const* row = nullptr;
    std::vector<std::vector<SFFormulaValue>> arguments{}; ///< of a function, by argument
    std::size_t position = 0;                             ///< how many arguments without a name were given
    std::size_t slot = 0;                                 ///< of the argument that is being read
    bool isNamed = false;                                 ///< whether an argument with a name was given
  };

  bool SkipLineEnds()
  {
    while (_lexer.Current().kind == SFFormulaToken::NewLine)
      _lexer.Next();
    return _lexer.Current().kind != SFFormulaToken::End;
  }

  void RequireLineEnd()
  {
    auto const kind = _lexer.Current().kind;
    if (kind != SFFormulaToken::NewLine && kind != SFFormulaToken::End)
      _lexer.Fail("an operator or the end of the line is expected before " + SFFormulaLexer::Quoted(_lexer.Current()));
  }

  void ReadStatement()
  {
    if (_model)
      _lexer.FailAt(_modelToken, "this line defines nothing, and only the last line may be the model");
    Token const first = _lexer.Current();
    if (_lexer.IsName("param") && _lexer.Peek() != '=') {
      ReadParameter();
    } else if (first.kind == SFFormulaToken::Name && _lexer.Peek() == '=') {
      _lexer.Next();
      _lexer.Next();
      Define(first, ReadExpression());
    } else {
      _modelToken = first;
      SFFormulaValue value = ReadExpression();
      auto* const field = std::get_if<SFField>(&value);
      if (field == nullptr)
        _lexer.FailAt(first, "the model must be a field, and this is a vector or a text");
      _model = *field;
    }
    RequireLineEnd();
  }

  void Define(Token const& iName, SFFormulaValue iValue)
  {
    std::string const name(iName.text);
    if (FindFormulaRow(name) != nullptr)
      _lexer.FailAt(iName, "'" + name + "' is a function");
    auto const [at, isNew] = _names.emplace(name, Named{std::move(iValue), false});
    if (!isNew)
      _lexer.FailAt(iName, "'" + name + (at->second.isFixed ? "' cannot be defined anew" : "' is defined twice"));
  }

  double ReadNumber(std::string_view iWhat)
  {
    Token const first = _lexer.Current();
    SFFormulaValue const value = ReadExpression();
    auto const* const field = std::get_if<SFField>(&value);
    std::optional<double> const number = field == nullptr ? std::nullopt : ConstantValue(*field);
    if (!number)
      _lexer.FailAt(first, std::string(iWhat) + " must be a number");
    return *number;
  }

  /// "param name = value", perhaps with "(low .. high)".
  void ReadParameter()
  {
    _lexer.Next();
    Token const name = _lexer.Current();
    if (name.kind != SFFormulaToken::Name)
      _lexer.Fail("the name of a parameter is expected before " + SFFormulaLexer::Quoted(name));
    _lexer.Next();
    Expect("=");
    SFParameterInfo info{std::string(name.text), ReadParameterValue(), -Infinity, Infinity};
    if (_lexer.IsSign("(")) {
      _lexer.Next();
      info.low = ReadNumber("the lowest value");
      Expect("..");
      info.high = ReadNumber("the highest value");
      if (!(info.low <= info.high))
        _lexer.FailAt(name, "the range of '" + info.name + "' is empty");
      Expect(")");
    }
    auto const replaced = _replaced.find(info.name);
    double const value = replaced == _replaced.end() ? info.value : replaced->second;
    _parameters.push_back(info);
    Define(name, Guarded(name, [&] { return SFField::Parameter(info.name, value, info.low, info.high); }));
  }

  /// A number with its sign: an expression would take the range for the arguments of a call.
  double ReadParameterValue()
  {
    bool isNegative = false;
    while (_lexer.IsSign("-") || _lexer.IsSign("+")) {
      isNegative = isNegative != _lexer.IsSign("-");
      _lexer.Next();
    }
    if (_lexer.Current().kind != SFFormulaToken::Number)
      _lexer.Fail("a number is expected before " + SFFormulaLexer::Quoted(_lexer.Current()));
    double const number = _lexer.Current().number;
    _lexer.Next();
    return isNegative ? -number : number;
  }

  void Expect(std::string_view iSign)
  {
    if (!_lexer.IsSign(iSign))
      _lexer.Fail("'" + std::string(iSign) + "' is expected before " + SFFormulaLexer::Quoted(_lexer.Current()));
    _lexer.Next();
  }

  // Expressions.

  static int Precedence(Token const& iToken, bool iUnary)
  {
    switch (iToken.text.front()) {
    case '^':
      return 4;
    case '*':
    case '/':
      return 2;
    default:
      return iUnary ? 3 : 1;
    }
  }

  SFFormulaValue ReadExpression()
  {
    std::size_t const pending = _pending.size();
    bool wantsOperand = true;
    while (wantsOperand ? ReadOperand(wantsOperand) : ReadOperator(wantsOperand, pending))
      ;
    Reduce(pending, 0);
    SFFormulaValue value = std::move(_values.back());
    _values.pop_back();
    return value;
  }

  /// One token where an operand is expected. Always true.
  bool ReadOperand(bool& oWantsOperand)
  {
    Token const token = _lexer.Current();
    oWantsOperand = false;
    if (token.kind == SFFormulaToken::Number) {
      _values.emplace_back(SFField(token.number));
    } else if (token.kind == SFFormulaToken::Text) {
      _values.emplace_back(std::string(token.text));
    } else if (token.kind == SFFormulaToken::Name) {
      return ReadName(oWantsOperand);
    } else if (_lexer.IsSign("-") || _lexer.IsSign("+")) {
      Push(Pending::Operator, token, true);
      oWantsOperand = true;
    } else if (_lexer.IsSign("(") || _lexer.IsSign("[")) {
      Push(_lexer.IsSign("(") ? Pending::Group : Pending::List, token);
      oWantsOperand = true;
    } else {
      _lexer.Fail("a value is expected before " + SFFormulaLexer::Quoted(token));
    }
    _lexer.Next();
    return true;
  }

  void Push(Pending::Kind iKind, Token const& iToken, bool iUnary = false)
  {
    _pending.push_back({iKind, iToken, _values.size()});
    _pending.back().isNamed = iUnary;
  }

  bool ReadName(bool& oWantsOperand)
  {
    Token const token = _lexer.Current();
    bool const isCall = _lexer.Peek() == '(';
    _lexer.Next();
    if (isCall) {
      BeginCall(token, oWantsOperand);
      return true;
    }
    auto const at = _names.find(std::string(token.text));
    if (at == _names.end())
      FailUnknown(token);
    _values.push_back(at->second.value);
    return true;
  }

  [[noreturn]] void FailUnknown(Token const& iToken)
  {
    std::string sentence = "nothing is called " + SFFormulaLexer::Quoted(iToken);
    if (FindFormulaRow(iToken.text) != nullptr)
      _lexer.FailAt(iToken, "the function " + SFFormulaLexer::Quoted(iToken) + " needs its arguments in ( )");
    std::vector<std::string_view> known;
    for (auto const& entry : _names)
      known.push_back(entry.first);
    _lexer.FailAt(iToken, sentence + Hint(iToken.text, known));
  }

  static std::string Hint(std::string_view iName, std::vector<std::string_view> iKnown)
  {
    std::sort(iKnown.begin(), iKnown.end());
    auto const nearest = NearestName(iName, iKnown);
    return nearest.empty() ? "" : "; is '" + std::string(nearest) + "' meant?";
  }

  void BeginCall(Token const& iName, bool& oWantsOperand)
  {
    SFFormulaRow const* const row = FindFormulaRow(iName.text);
    if (row == nullptr) {
      std::vector<std::string_view> known;
      for (SFFormulaRow const& each : FormulaRows())
        known.push_back(each.function.name);
      _lexer.FailAt(iName, "no function is called " + SFFormulaLexer::Quoted(iName) + Hint(iName.text, known));
    }
    Push(Pending::Function, iName);
    _pending.back().row = row;
    _pending.back().arguments.resize(row->function.arguments.size());
    _lexer.Next(); // the bracket
    oWantsOperand = true;
    if (_lexer.IsSign(")")) {
      EndCall();
      oWantsOperand = false;
      return;
    }
    BeginArgument();
  }

  /// Settles which argument the next value is, from its name or its position.
  void BeginArgument()
  {
    Pending& call = _pending.back();
    auto const& function = call.row->function;
    Token const token = _lexer.Current();
    if (token.kind == SFFormulaToken::Name && _lexer.Peek() == '=') {
      auto const& arguments = function.arguments;
      auto const at = std::find_if(arguments.begin(), arguments.end(),
                                   [&](SFFormulaArgument const& iEach) { return iEach.name == token.text; });
      if (at == arguments.end()) {
        std::vector<std::string_view> known;
        for (SFFormulaArgument const& each : arguments)
          known.push_back(each.name);
        _lexer.Fail("'" + std::string(function.name) + "' has no argument " + SFFormulaLexer::Quoted(token) +
                    Hint(token.text, known));
      }
      call.slot = static_cast<std::size_t>(at - arguments.begin());
      call.isNamed = true;
      _lexer.Next();
      _lexer.Next();
    } else if (call.isNamed) {
      _lexer.Fail("an argument without a name cannot follow one with a name");
    } else {
      call.slot = function.isVariadic ? 0 : call.position;
      ++call.position;
    }
    if (call.slot >= function.arguments.size())
      _lexer.FailAt(token, "'" + std::string(function.name) + "' has " + std::to_string(function.arguments.size()) +
                               (function.arguments.size() == 1 ? " argument" : " arguments") +
                               ", and this is one more");
    if (!call.arguments[call.slot].empty() && !(function.isVariadic && call.slot == 0))
      _lexer.FailAt(token, "the argument '" + std::string(function.arguments[call.slot].name) + "' is given twice");
  }

  void EndArgument()
  {
    Pending& call = _pending.back();
    call.arguments[call.slot].push_back(std::move(_values.back()));
    _values.pop_back();
  }

  void EndCall()
  {
    Pending call = std::move(_pending.back());
    _pending.pop_back();
    auto const& arguments = call.row->function.arguments;
    for (std::size_t i = 0; i < arguments.size(); ++i) {
      if (!call.arguments[i].empty())
        continue;
      if (arguments[i].fallback.empty())
        _lexer.FailAt(call.token, "'" + std::string(call.row->function.name) + "' lacks its argument '" +
                                      std::string(arguments[i].name) + "'");
      call.arguments[i].push_back(Fallback(arguments[i].fallback));
    }
    _values.emplace_back(Guarded(call.token, [&] {
      return call.row->apply(SFFormulaCall(call.row->function, std::move(call.arguments), _resolver));
    }));
    _lexer.Next();
  }

  static SFFormulaValue Fallback(std::string_view iText)
  {
    Values const none;
    return Parser(iText, none, nullptr).ReadExpression();
  }

  /// What a function refuses becomes an error at its name.
  template <class Make>
  SFField Guarded(Token const& iToken, Make iMake) const
  {
    try {
      return iMake();
    } catch (SFFormulaError const&) {
      throw;
    } catch (std::logic_error const& error) {
      _lexer.FailAt(iToken, std::string(iToken.text) + ": " + error.what());
    }
  }

  /// One token where an operator is expected; false at the end of the expression.
  bool ReadOperator(bool& oWantsOperand, std::size_t iPending)
  {
    Token const token = _lexer.Current();
    if (token.kind != SFFormulaToken::Sign || _lexer.IsSign("=") || _lexer.IsSign("..") || _lexer.IsSign("(") ||
        _lexer.IsSign("["))
      return EndsHere(iPending);
    if (_lexer.IsSign(",") || _lexer.IsSign(")") || _lexer.IsSign("]"))
      return ReadSeparator(oWantsOperand, iPending);
    int const precedence = Precedence(token, false);
    Reduce(iPending, token.text == "^" ? precedence + 1 : precedence);
    Push(Pending::Operator, token);
    oWantsOperand = true;
    _lexer.Next();
    return true;
  }

  /// The expression ends here, unless a bracket is open.
  bool EndsHere(std::size_t iPending)
  {
    Reduce(iPending, 0);
    if (_pending.size() == iPending)
      return false;
    Pending const& open = _pending.back();
    std::string const closing = open.kind == Pending::List ? "']'" : "')'";
    if (_lexer.Current().kind == SFFormulaToken::End)
      _lexer.FailAt(open.token, "this lacks its " + closing);
    _lexer.Fail("an operator, ',' or " + closing + " is expected before " + SFFormulaLexer::Quoted(_lexer.Current()));
  }

  bool ReadSeparator(bool& oWantsOperand, std::size_t iPending)
  {
    Reduce(iPending, 0);
    if (_pending.size() == iPending)
      return false;
    Pending const& open = _pending.back();
    bool const isSeparator = _lexer.IsSign(",") && open.kind != Pending::Group;
    if (!isSeparator && !_lexer.IsSign(open.kind == Pending::List ? "]" : ")"))
      _lexer.Fail(std::string(open.kind == Pending::List ? "']'" : "')'") + " is expected before " +
                  SFFormulaLexer::Quoted(_lexer.Current()));
    if (open.kind == Pending::Function)
      EndArgument();
    if (isSeparator) {
      _lexer.Next();
      oWantsOperand = true;
      if (open.kind == Pending::Function)
        BeginArgument();
    } else if (open.kind == Pending::Function) {
      EndCall();
    } else if (open.kind == Pending::List) {
      EndList();
    } else {
      _pending.pop_back();
      _lexer.Next();
    }
    return true;
  }

  /// A vector of fields, or a list of vectors.
  void EndList()
  {
    Pending const list = std::move(_pending.back());
    _pending.pop_back();
    SFFormulaVector vector;
    SFFormulaPoints points;
    for (std::size_t i = list.values; i < _values.size(); ++i) {
      if (auto* const field = std::get_if<SFField>(&_values[i]))
        vector.push_back(std::move(*field));
      else if (auto* const point = std::get_if<SFFormulaVector>(&_values[i]))
        points.push_back(std::move(*point));
      else
        _lexer.FailAt(list.token, "a vector holds numbers, or vectors of numbers");
    }
    if (!vector.empty() && !points.empty())
      _lexer.FailAt(list.token, "a vector holds numbers, or vectors of numbers, and not both");
    _values.resize(list.values);
    if (points.empty())
      _values.emplace_back(std::move(vector));
    else
      _values.emplace_back(std::move(points));
    _lexer.Next();
  }

  /// Applies the operators of at least a precedence that lie on top.
  void Reduce(std::size_t iPending, int iPrecedence)
  {
    while (_pending.size() > iPending && _pending.back().kind == Pending::Operator &&
           Precedence(_pending.back().token, _pending.back().isNamed) >= iPrecedence) {
      Pending const top = std::move(_pending.back());
      _pending.pop_back();
      SFFormulaValue right = std::move(_values.back());
      _values.pop_back();
      if (top.isNamed) {
        _values.push_back(Negated(top.token, right));
        continue;
      }
      SFFormulaValue const left = std::move(_values.back());
      _values.back() = Combined(top.token, left, right);
    }
  }

  static SFField Applied(char iOperator, SFField const& iA, SFField const& iB)
  {
    switch (iOperator) {
    case '+':
      return iA + iB;
    case '-':
      return iA - iB;
    case '*':
      return iA * iB;
    case '/':
      return iA / iB;
    default:
      return pow(iA, iB);
    }
  }

  /// The sign of a number changes exactly, that of 0 too.
  static SFField NegatedField(SFField const& iField)
  {
    return iField.GetNode()->IsConstant() ? SFField(-iField.GetNode()->GetValue()) : -iField;
  }

  SFFormulaValue Negated(Token const& iToken, SFFormulaValue const& iValue) const
  {
    bool const isMinus = iToken.text == "-";
    if (auto const* const field = std::get_if<SFField>(&iValue))
      return isMinus ? NegatedField(*field) : *field;
    auto const* const vector = std::get_if<SFFormulaVector>(&iValue);
    if (vector == nullptr)
      _lexer.FailAt(iToken, "this has no sign");
    SFFormulaVector result;
    for (SFField const& field : *vector)
      result.push_back(isMinus ? NegatedField(field) : field);
    return result;
  }

  /// Fields combine; vectors of one size add up and subtract, and are multiplied and divided by fields.
  SFFormulaValue Combined(Token const& iToken, SFFormulaValue const& iLeft, SFFormulaValue const& iRight) const
  {
    char const sign = iToken.text.front();
    auto const* const a = std::get_if<SFField>(&iLeft);
    auto const* const b = std::get_if<SFField>(&iRight);
    if (a != nullptr && b != nullptr)
      return Applied(sign, *a, *b);
    auto const* const u = std::get_if<SFFormulaVector>(&iLeft);
    auto const* const v = std::get_if<SFFormulaVector>(&iRight);
    bool const isSum = u != nullptr && v != nullptr && (sign == '+' || sign == '-') && u->size() == v->size();
    bool const isMultiple =
        (a != nullptr && v != nullptr && sign == '*') || (u != nullptr && b != nullptr && (sign == '*' || sign == '/'));
    if (!isSum && !isMultiple)
      _lexer.FailAt(iToken, "'" + std::string(iToken.text) +
                                "' does not go with these: vectors of one size add up and "
                                "subtract, and are multiplied and divided by numbers");
    SFFormulaVector result;
    for (std::size_t i = 0; i < (u != nullptr ? u : v)->size(); ++i)
      result.push_back(Applied(sign, u != nullptr ? (*u)[i] : *a, v != nullptr ? (*v)[i] : *b));
    return result;
  }

  SFFormulaLexer _lexer;
  Values const& _replaced;
  SFResourceResolver* _resolver;
  std::unordered_map<std::string, Named> _names;
  std::vector<SFParameterInfo> _parameters;
  std::vector<SFFormulaValue> _values;
  std::vector<Pending> _pending;
  std::optional<SFField> _model;
  Token _modelToken;
};

} // namespace

SFField SFFormula::Read(std::string_view iText, Values const& iValues, SFResourceResolver* iResolver)
{
  Parser parser(iText, iValues, iResolver);
  parser.Run();
  return parser.Model();
}

std::vector<SFParameterInfo> SFFormula::ReadParameters(std::string_view iText)
{
  Values const none;
  Parser parser(iText, none, nullptr);
  parser.Run();
  return parser.GetParameters();
}

} // namespace SF
