"""Started under gdb: before libjvm is loaded, before it is initialised, and then."""
from harness import check, check_equal, check_whole, frames, gdb, java_frames

COMMANDS = ["starti", "bt", "thread apply all bt", "tbreak JNI_CreateJavaVM", "continue", "bt", "tbreak Java_Descent_register",
            "continue", "bt", "tbreak Java_Descent_bottom", "continue", "bt", "kill"]


def case(jvm):
    texts = gdb(jvm, COMMANDS, arguments=jvm.command(["descend", 3, 0]))
    bt = {name: frames(texts[number]) for name, number in (("start", 1), ("loaded", 5), ("register", 8), ("bottom", 11))}
    check("ld-linux" in texts[1], f"the first stop is in the loader: {texts[1]}")
    check_equal(len(bt["start"]), len(frames(texts[1])), "the first stop's frames")
    check_whole(bt["loaded"], "before the VM is made")
    check("JNI_CreateJavaVM" in bt["loaded"][0].text, texts[5])
    check_whole(bt["register"], "in the first native method of the program")
    check_equal(java_frames(bt["register"])[0][:2], ("Descent", "register"), "the first Java frame")
    check_equal(java_frames(bt["register"])[-1][:2], ("Mix", "main"), "the last Java frame")
    check_whole(bt["bottom"], "at the bottom")
    check(len(java_frames(bt["bottom"])) > 30, "the whole way down is there")
