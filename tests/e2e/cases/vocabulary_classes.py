"""Classes, methods and their metadata."""
import gdb

import java
from checks import check, check_equal
from quor.agent import place, questions
from quor.agent.calls import call, fetched, forget_scratch, out, out_pointer, out_text, text_of
from quor.codes import code_named

PUBLIC, STATIC, FINAL, NATIVE, ABSTRACT = 0x1, 0x8, 0x10, 0x100, 0x400


def class_info(function, *arguments):
    info = out("class_info")
    check_equal(call(function, 0, *arguments, info), 0, function)
    return fetched(info.dereference())


def check_class(info, signature, source, is_interface):
    check_equal(text_of(info["signature"]), signature, "the signature")
    check_equal(text_of(info["source_file"]), source, "the source file")
    check_equal(int(info["has_source"]), 1 if source else 0, "whether it has one")
    check_equal(int(info["is_interface"]), is_interface, "whether it is an interface")
    return info["clazz"]


def classes(everything, proxy):
    clazz = check_class(class_info("agent_get_class", out_text("Everything")), "LEverything;", "Vocabulary.java", 0)
    check_equal(questions.object_class(everything), int(clazz), "the class of its object is the same handle")
    figure = check_class(class_info("agent_get_superclass", clazz), "LFigure;", "Vocabulary.java", 0)
    check_class(class_info("agent_get_class", out_text("Measured")), "LMeasured;", "Vocabulary.java", 1)
    base = check_class(class_info("agent_get_superclass", figure), "Ljava/lang/Object;", "Object.java", 0)
    check_equal(int(class_info("agent_get_superclass", base)["clazz"]), 0, "Object has no superclass")
    check_equal(call("agent_get_class", 0, out_text("no/such/Class"), out("class_info")), code_named("INTERNAL"), "no such class")
    forget_scratch()

    made = questions.object_class(proxy)
    info = class_info("agent_get_classinfo", made)
    check("Proxy" in text_of(info["signature"]), "the proxy's class is a proxy class")
    check_class(info, text_of(info["signature"]), "", 0)
    check_equal(call("agent_get_sourcefilename", 0, made, out_pointer("char")),
                code_named("ABSENT_INFORMATION"), "the source file of the proxy's class")
    name = out_pointer("char")
    check_equal(call("agent_get_sourcefilename", 0, clazz, name), 0, "agent_get_sourcefilename")
    check_equal(text_of(name.dereference()), "Vocabulary.java", "the source file")

    check(call("agent_is_instanceof", 0, everything, figure), "the object is an instance of its superclass")
    check(not call("agent_is_instanceof", 0, everything, made), "and of no proxy class")
    forget_scratch()
    return clazz, figure


def interfaces(figure):
    count, found = out("jint"), out_pointer("jclass")
    check_equal(call("agent_get_implementedinterfaces", 0, figure, count, found), 0, "agent_get_implementedinterfaces")
    names = [java.signature(found.dereference()[i]) for i in range(int(count.dereference()))]
    check_equal(names, ["LMeasured;", "Ljava/io/Serializable;"], "the interfaces of the abstract class")
    forget_scratch()


def collected_classes():
    count, found = out("jint"), out_pointer("class_info")
    check_equal(call("agent_get_classes", 0, count, found), 0, "agent_get_classes")
    number = int(count.dereference())
    check(number > 100, "all classes that are prepared are collected")
    names = {text_of(found.dereference()[i]["signature"]) for i in range(number)}
    check({"LVocabulary;", "LEverything;", "LFigure;", "LMeasured;", "Ljava/lang/String;"} <= names, "ours among them")
    check_equal(call("agent_get_classes", 0, count, found), 0, "agent_get_classes again")
    check_equal((int(count.dereference()), int(found.dereference())), (0, 0), "nothing was prepared meanwhile")
    forget_scratch()


def method_entries(clazz, only=0):
    count, table = out("jint"), out_pointer("method_entry")
    check_equal(call("agent_get_classmethods", 0, clazz, only, count, table), 0, "agent_get_classmethods")
    entries = [fetched(table.dereference()[i]) for i in range(int(count.dereference()))]
    forget_scratch()
    return {text_of(entry["name"]): entry for entry in entries}


def methods(clazz, figure):
    found = method_entries(clazz)
    check({"<init>", "<clinit>", "inC", "measure", "name", "identity", "crowd", "toString"} <= found.keys(), "the methods")
    check_equal(text_of(found["identity"]["signature"]), "(Ljava/lang/Comparable;)Ljava/lang/Comparable;",
                "the erased signature of the generic method")
    check(int(found["inC"]["modifiers"]) & NATIVE, "inC is native")
    check_equal(int(found["measure"]["modifiers"]), PUBLIC, "the modifiers of measure")
    whole = "(" + 60 * "LAClassWithARatherLongName;" + ")I"
    check_equal(text_of(found["crowd"]["signature"]), whole[:1023], "the long signature is cut after 1023 characters")
    check(int(method_entries(figure)["name"]["modifiers"]) & ABSTRACT, "name is abstract in the abstract class")
    alone = method_entries(clazz, found["measure"]["method"])
    check_equal(list(alone), ["measure"], "one method asked for alone")
    return {name: entry["method"] for name, entry in found.items()}


def fields(clazz):
    count, table = out("jint"), out_pointer("jfieldID")
    check_equal(call("agent_get_classfields", 0, clazz, count, table), 0, "agent_get_classfields")
    found = {}
    name, signature = (out_pointer("char") for _ in range(2))
    modifiers = out("jint")
    for i in range(int(count.dereference())):
        check_equal(call("agent_get_fieldname", 0, clazz, table.dereference()[i], name, signature, modifiers), 0,
                    "agent_get_fieldname")
        its_own = int(modifiers.dereference()) & 0xFF  # HotSpot keeps flags of its own above
        found[text_of(name.dereference())] = (text_of(signature.dereference()), its_own)
    check_equal(len(found), 28, "how many fields")
    check_equal(found["j"], ("J", 0), "a field's signature and modifiers")
    check_equal(found["array_l"], ("[Ljava/lang/Object;", STATIC), "a static field's")
    check_equal(found["generic"], ("Ljava/lang/Comparable;", 0), "a generic field's")
    forget_scratch()


def lines(clazz, method_ids, proxy):
    table = questions.lines(clazz, method_ids["measure"])
    check_equal(len(table), 1, "measure has one line")
    check_equal(table[0][0], 0, "which starts at location 0")
    count, entries = out("jint"), out_pointer("JVMDI_line_number_entry")
    made = questions.object_class(proxy)
    found = call("agent_get_linenumbertable", 0, made, java.method(made, "measure"), count, entries)
    check_equal(found, code_named("ABSENT_INFORMATION"), "a proxy's method has no line numbers")
    forget_scratch()


def variables(clazz, method_ids):
    """{name: (signature, slot)} of a method's variables."""
    count, table = out("jint"), out_pointer("JVMDI_local_variable_entry")
    check_equal(call("agent_get_localvariabletable", 0, clazz, method_ids, count, table), 0, "agent_get_localvariabletable")
    entries = [table.dereference()[i] for i in range(int(count.dereference()))]
    return {text_of(entry["name"]): (text_of(entry["signature"]), int(entry["slot"])) for entry in entries}


def code(clazz, method_ids):
    check_equal(variables(clazz, method_ids["measure"]), {"this": ("LEverything;", 0)}, "the variables of measure")
    count, bytes_ = out("jint"), out_pointer("unsigned char")
    check_equal(call("agent_get_bytecodes", 0, clazz, method_ids["measure"], count, bytes_), 0, "agent_get_bytecodes")
    aload_0, getfield, ireturn = 0x2a, 0xb4, 0xac
    found = [int(bytes_.dereference()[i]) for i in range(int(count.dereference()))]
    check_equal((found[0], found[1], found[-1], len(found)), (aload_0, getfield, ireturn, 5), "the byte codes of measure")
    for name in ("agent_get_exceptionhandlertable", "agent_get_thrownexceptions"):
        code = call(name, 0, clazz, method_ids["identity"], out("jint"), out_pointer("char"))
        check_equal(code, code_named("MUST_POSSESS_CAPABILITY"), f"{name} is JVMDI's alone")
    check_equal(call("agent_get_maxstack", 0, clazz, method_ids["identity"], out("jint")), code_named("MUST_POSSESS_CAPABILITY"),
                "agent_get_maxstack is JVMDI's alone")
    forget_scratch()


def interface():
    version = out("jint")
    check_equal(call("agent_get_versionnumber", 0, version), 0, "agent_get_versionnumber")
    check_equal(int(version.dereference()), int(place.global_value("jvmti_version")), "the version is the one recorded at load")
    capabilities = out("JVMDI_capabilities")
    check_equal(call("agent_get_capabilities", 0, capabilities), 0, "agent_get_capabilities")
    word = int.from_bytes(gdb.selected_inferior().read_memory(int(capabilities), 4).tobytes(), "little")
    check_equal(f"{word:04x}", "147f", "the capabilities in JVMDI's terms")
    forget_scratch()


def ask(everything, proxy):
    clazz, figure = classes(everything, proxy)
    interfaces(figure)
    collected_classes()
    method_ids = methods(clazz, figure)
    fields(clazz)
    lines(clazz, method_ids, proxy)
    code(clazz, method_ids)
    interface()
    return clazz
