import java.io.IOException;
import java.util.Arrays;

/** What the programs share. */
class Bench {
    static void figure(String name, long value) {
        System.out.println(name + "=" + value);
    }

    static long median(long[] values) {
        long[] sorted = values.clone();
        Arrays.sort(sorted);
        return sorted[sorted.length / 2];
    }

    /** Tells who started this that the debugger may come, and waits for a line or the end of the input. */
    static void awaitDebugger() throws IOException {
        System.out.println("ready");
        for (int read = System.in.read(); read != '\n' && read != -1;) read = System.in.read();
    }

    /** "loaded": nobody attaches. "inside": this process, by the library. "outside": another. */
    static void attach(String who, String library) throws IOException {
        if (who.equals("outside")) awaitDebugger();
        if (!who.equals("inside")) return;
        System.load(library);
        Agent.attach();
    }

    static void parkForEver() {
        for (;;) java.util.concurrent.locks.LockSupport.park();
    }
}
