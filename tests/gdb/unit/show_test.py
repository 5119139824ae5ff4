"""Texts as people know them."""
import unittest

from quor import show
from quor.errors import QuorError
from quor.show import Limits, Lock, ObjectReader, ObjectText, Waiter, primitive, quoted


class Thing:
    """An object of the fake heap: a class and its fields, elements or text."""

    def __init__(self, name, label, *fields, text="", elements=()):
        self.name, self.label, self.all_fields, self.text, self.all_elements = name, label, list(fields), text, list(elements)


class Reader(ObjectReader):
    def class_name(self, obj):
        if obj.name is None:
            raise QuorError("gone")
        return obj.name

    def label(self, obj):
        return obj.label

    def string(self, obj, limit):
        return obj.text[:limit]

    def array_length(self, obj):
        return len(obj.all_elements)

    def elements(self, obj, descriptor, limit):
        return obj.all_elements[:limit]

    def fields(self, obj, limit):
        return obj.all_fields[:limit], len(obj.all_fields)

    def unreadable(self, obj):
        return f"<gone: {obj.label}>"


def string(text):
    return Thing("java/lang/String", "s", text=text)


def array(name, *elements, label="a"):
    return Thing(name, label, elements=elements)


class PrimitivesTest(unittest.TestCase):
    def test_what_cannot_be_seen_is_escaped(self):
        self.assertEqual('"a\\"b\\n\\u0000é\\\\\'"', quoted('a"b\n\0é\\\''))
        self.assertEqual("'\\''", quoted("'", "'"))

    def test_primitives_look_as_in_java(self):
        self.assertEqual(["true", "false", "'x'", "-3", "2.5", "0.1", "1.0E10", "1.0E10", "NaN"],
                         [primitive("Z", True), primitive("Z", False), primitive("C", "x"), primitive("I", -3), primitive("D", 2.5),
                          primitive("F", 0.10000000149011612), primitive("D", 1e10), primitive("F", 1e10),
                          primitive("D", float("nan"))])


class ObjectTextTest(unittest.TestCase):
    def text(self, thing, depth=1, limits=Limits(5, 3, 2)):
        return ObjectText(Reader(), limits).value("Ljava/lang/Object;", thing, depth)

    def test_an_object_has_its_fields_by_name(self):
        shop = Thing("Shop", "1", ("owner", "Ljava/lang/String;", string("Ann")), ("id", "I", 7))
        self.assertEqual('Shop@1 {owner="Ann", id=7}', self.text(shop))
        self.assertEqual("Shop@1", self.text(shop, depth=0))

    def test_null_is_null(self):
        self.assertEqual("null", self.text(None))
        self.assertEqual("A@1 {next=null}", self.text(Thing("A", "1", ("next", "LA;", None))))

    def test_an_object_without_fields_is_its_name(self):
        self.assertEqual("java.lang.Object@2a", self.text(Thing("java/lang/Object", "2a")))

    def test_long_strings_arrays_and_objects_are_cut(self):
        self.assertEqual('"short"', self.text(string("short")))
        self.assertEqual('"longe"...', self.text(string("longer")))
        self.assertEqual("int[4] {1, 2, 3, ...}", self.text(array("[I", 1, 2, 3, 4)))
        self.assertEqual("int[3] {1, 2, 3}", self.text(array("[I", 1, 2, 3)))
        self.assertEqual("A@1 {a=1, b=2, ...}", self.text(Thing("A", "1", ("a", "I", 1), ("b", "I", 2), ("c", "I", 3))))

    def test_arrays_have_their_length_in_the_first_brackets(self):
        self.assertEqual("java.lang.String[1][] {java.lang.String[0]}",
                         self.text(array("[[Ljava/lang/String;", array("[Ljava/lang/String;", label="b"))))
        self.assertEqual("char[0] {}", self.text(array("[C")))

    def test_the_depth_counts_objects_and_arrays(self):
        inner = Thing("B", "2", ("x", "I", 1))
        outer = Thing("A", "1", ("b", "LB;", inner), ("bs", "[LB;", array("[LB;", inner)))
        self.assertEqual(["A@1", "A@1 {b=B@2, bs=B[1]}", "A@1 {b=B@2 {x=1}, bs=B[1] {B@2}}",
                          "A@1 {b=B@2 {x=1}, bs=B[1] {B@2 {x=1}}}"], [self.text(outer, depth) for depth in range(4)])

    def test_an_object_within_itself_is_its_name_alone(self):
        node = Thing("Node", "1")
        node.all_fields = [("next", "LNode;", node), ("twice", "LNode;", Thing("Node", "2", ("next", "LNode;", node)))]
        self.assertEqual("Node@1 {next=Node@1, twice=Node@2 {next=Node@1}}", self.text(node, 9))
        ring = array("[Ljava/lang/Object;")
        ring.all_elements.append(ring)
        self.assertEqual("java.lang.Object[1] {java.lang.Object[1]}", self.text(ring, 9))

    def test_an_object_twice_side_by_side_is_shown_twice(self):
        one = Thing("B", "2", ("x", "I", 1))
        self.assertEqual("B[2] {B@2 {x=1}, B@2 {x=1}}", self.text(array("[LB;", one, one), 2))

    def test_what_cannot_be_read_is_shown_as_such_and_the_rest_all_the_same(self):
        self.assertEqual("A@1 {a=<gone: 2>, b=3}", self.text(Thing("A", "1", ("a", "LB;", Thing(None, "2")), ("b", "I", 3))))


class LinesTest(unittest.TestCase):
    WHERE = show.located(show.method("Shop", "serve", "(LItem;I)V"), show.place("Shop.java", 33))

    def test_frames_are_numbered_as_gdbs_are(self):
        self.assertEqual("#3  Shop.serve(Item, int) (Shop.java:33)", show.frame(3, self.WHERE))
        self.assertEqual("#10 a", show.frame(10, "a"))
        self.assertEqual("#100 a", show.frame(100, "a"))

    def test_a_place_tells_what_the_class_tells(self):
        self.assertEqual(["(A.java)", "<native>", "", "(A.java:1)"],
                         [show.place("A.java", None), show.place("A.java", 3, True), show.place(None, 3), show.place("A.java", 1)])
        self.assertEqual("A.f()", show.located("A.f()", ""))

    def test_threads_have_gdbs_number_first_and_a_mark_when_selected(self):
        self.assertEqual("* 22 pool-1-thread-4  RUNNABLE  in native  Shop.price",
                         show.thread_line(22, ["pool-1-thread-4", "RUNNABLE", "in native", "Shop.price"], selected=True))
        self.assertEqual("   1 main  RUNNABLE", show.thread_line(1, ["main", "RUNNABLE", None, ""]))
        self.assertEqual("    - x", show.thread_line(None, ["x"], width=3))

    def test_a_breakpoint_tells_where_and_in_which_thread(self):
        where = show.located("Shop.serve", show.place("Shop.java", 33))
        self.assertEqual('Java breakpoint J3, Shop.serve (Shop.java:33), thread 22 "pool-1-thread-4"',
                         show.breakpoint_line(3, where, show.thread_name(22, "pool-1-thread-4")))
        self.assertEqual('thread "main"', show.thread_name(None, "main"))


class DeadlockTest(unittest.TestCase):
    MONITOR, MUTEX, OTHER = Lock("", "Object@2a"), Lock("mutex", "ledger"), Lock("", "Shop@1")

    def test_two_threads_name_each_lock_and_the_kind_of_a_native_one_once(self):
        self.assertEqual("DEADLOCK: monitor-first holds Object@2a, waits for mutex ledger (held by mutex-first) / "
                         "mutex-first holds ledger, waits for Object@2a",
                         show.deadlock([Waiter("monitor-first", self.MONITOR, self.MUTEX),
                                        Waiter("mutex-first", self.MUTEX, self.MONITOR)]))

    def test_each_thread_but_the_last_tells_who_holds_what_it_waits_for(self):
        self.assertEqual("DEADLOCK: a holds mutex ledger, waits for Object@2a (held by b) / "
                         "b holds Object@2a, waits for Shop@1 (held by c) / c holds Shop@1, waits for ledger",
                         show.deadlock([Waiter("a", self.MUTEX, self.MONITOR), Waiter("b", self.MONITOR, self.OTHER),
                                        Waiter("c", self.OTHER, self.MUTEX)]))
