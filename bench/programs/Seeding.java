import java.nio.file.Files;
import java.nio.file.Path;

/**
 * Attaches to a program with many classes, and tells how long a thread that always runs stood still (microseconds), how long the
 * attach call took, and by how much the process grew (KB).
 *
 * <p>Arguments: "inside" or "outside"; the library; how many classes the program makes first.
 */
class Seeding {
    static volatile boolean over;

    /** Never waits, so that what it notes is only what others do to it. */
    static long longestGap() {
        long longest = 0;
        for (long last = System.nanoTime(); !over;) {
            long now = System.nanoTime();
            longest = Math.max(longest, now - last);
            last = now;
        }
        return longest;
    }

    static long residentKilobytes() throws Exception {
        for (String line : Files.readAllLines(Path.of("/proc/self/status")))
            if (line.startsWith("VmRSS:")) return Long.parseLong(line.replaceAll("\\D", ""));
        throw new IllegalStateException("no VmRSS");
    }

    public static void main(String[] arguments) throws Exception {
        Many many = new Many();
        for (int i = 0; i < Integer.parseInt(arguments[2]); i++) many.make();
        if (arguments[0].equals("inside")) System.load(arguments[1]);
        System.gc();
        long before = residentKilobytes();
        long[] gap = new long[1];
        Thread watcher = new Thread(() -> gap[0] = longestGap());
        watcher.start();
        long call = 0;
        if (arguments[0].equals("inside"))
            call = Agent.attachAtStop();
        else
            Bench.awaitDebugger();
        over = true;
        watcher.join();
        Bench.figure("stands", gap[0] / 1000);
        if (call > 0) Bench.figure("call", call / 1000);
        Bench.figure("memory", residentKilobytes() - before);
    }
}
