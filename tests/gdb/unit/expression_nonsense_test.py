"""What is well formed but senseless: types that do not go together, members that are not there, in every place."""
import random
import unittest

import expression_test
from quor.errors import QuorError
from quor.expression.evaluator import assign, evaluate, holds
from quor.expression.values import OBJECT, STRING
from quor.expression.world import VARARGS

COUNT, SEED = 3000, 1
ATOMS = ("i l d z c none text item any numbers boxed empty object word this id owner items open tag null true 1 2L 1.5 1f 'x' "
         "\"s\" Shop Item com.shop.Prices foo $j1 -2147483648 close() f() items.length Prices.BASE").split()
TARGETS = [*ATOMS, "numbers[0]", "items[1]", "items[0].price", "this.tag"]
TYPES = "int long byte char boolean float String Object Shop Item List int[] Object[] Integer Long foo Base Named".split()
SIGNS = "+ - * / % << >> >>> < > == != <= && || & | ^".split()
MEMBERS = "length id price foo length() open this f(1)".split()


class Nonsense:
    """Draws expressions without a look at their types."""

    def __init__(self, draw):
        self._draw = draw

    def made(self, depth):
        if not depth:
            return self._draw.choice(ATOMS)
        return self._draw.choice([self._binary, self._binary, self._unary, self._cast, self._conditional, self._call, self._member,
                                  self._element, self._instance_of])(depth - 1)

    def _binary(self, depth):
        return f"{self.made(depth)} {self._draw.choice(SIGNS)} {self.made(depth)}"

    def _unary(self, depth):
        return f"{self._draw.choice('-+!~')}({self.made(depth)})"

    def _cast(self, depth):
        return f"({self._draw.choice(TYPES)}) ({self.made(depth)})"

    def _conditional(self, depth):
        return f"({self.made(depth)} ? {self.made(depth)} : {self.made(depth)})"

    def _call(self, depth):
        return f"f({', '.join(self.made(depth) for _ in range(self._draw.randrange(3)))})"

    def _member(self, depth):
        return f"({self.made(depth)}).{self._draw.choice(MEMBERS)}"

    def _element(self, depth):
        return f"({self.made(depth)})[{self.made(depth)}]"

    def _instance_of(self, depth):
        return f"({self.made(depth)} instanceof {self._draw.choice(TYPES[6:])})"


class NonsenseTest(unittest.TestCase):
    def setUp(self):
        case = expression_test.MethodsTest()
        case.setUp()
        case.overloads("(I)", "(J)", f"({OBJECT})", f"({STRING})")
        case.overloads("([I)", flags=VARARGS)
        self.world = case.world
        self.world.method("com/shop/Shop", "close", "()V", lambda this: None)

    def refusal(self, work, text):
        """The message of an expression that is refused; None of one that has a value."""
        try:
            work(text, self.world)
        except QuorError as error:
            return str(error)
        except Exception as error:
            raise AssertionError(f"{text}: {type(error).__name__}: {error}") from error
        return None

    def test_each_has_a_value_or_is_refused_in_one_line(self):
        draw = random.Random(SEED)
        nonsense = Nonsense(draw)
        refusals = []
        for number in range(COUNT):
            text = nonsense.made(number % 4)
            refusals += [self.refusal(evaluate, text), self.refusal(holds, text),
                         self.refusal(assign, f"{draw.choice(TARGETS)} = {text}")]
        told = [each for each in refusals if each is not None]
        self.assertGreater(len(refusals) - len(told), COUNT // 10, "some have values")
        self.assertGreater(len(set(told)), 100, "many kinds of refusals were met")
        for message in told:
            self.assertRegex(message, r"\A[^\n]+\Z")
