"""Classes are announced as they are prepared, and collected in batches."""
import java
from checks import check, check_equal
from program import attach_java_mode, start
from quor.agent.calls import call, out, out_pointer, text_of
from stops import expect_exit, run_to


def collect():
    count, classes = out("jint"), out_pointer("class_info")
    check_equal(call("agent_get_classes", 0, count, classes), 0, "agent_get_classes")
    entries = classes.dereference()
    batch = [text_of(entries[i]["signature"]) for i in range(int(count.dereference()))]
    return batch, int(entries)


def case():
    start("Tour")
    attach_java_mode()
    clazz = java.prepared("Tour")
    stop_name = java.signature(clazz)
    check_equal(stop_name, "LTour;", "the signature of the prepared class")
    batch, _ = collect()
    check("LTour;" in batch, "the batch holds the class")
    check("Ljava/lang/Object;" in batch, "the batch holds what was loaded before the attach")
    check("LTour$Expected;" not in batch, "a class that is not prepared yet is not in it")
    batch, array = collect()
    check_equal((batch, array), ([], 0), "the next batch is empty, its array null")

    stop = run_to("hook_class_prepare", condition=java.is_prepared("Tour$Expected"))
    stop.check_kind("CLASS_PREPARE")
    event = stop.part("class_event")
    check_equal(java.thread_name(event["thread"]), "main", "the thread that prepared it")
    check_equal(java.signature(event["clazz"]), "LTour$Expected;", "the class in the record")
    batch, _ = collect()
    check("LTour$Expected;" in batch and "Ljava/lang/Object;" not in batch, "the batch holds only what is new")
    expect_exit(3)
