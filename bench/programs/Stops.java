/**
 * Runs into a breakpoint over and over, beside more and more threads that wait, and tells the nanoseconds that half of the stops
 * stay below.
 *
 * <p>Arguments: who stops it ("floor", "inside", or "outside" for a debugger in another process); the library for the first two;
 * then THREADS:STOPS, ascending.
 */
class Stops {
    static int reached;

    static void reach(int turn) {
        reached += turn & 1;
    }

    static long[] turns(int times) {
        long[] taken = new long[times];
        for (int i = 0; i < times; i++) {
            long begin = System.nanoTime();
            reach(i);
            taken[i] = System.nanoTime() - begin;
        }
        return taken;
    }

    /** Returns when all of them wait: a thread that is only on its way there takes longer to stop. */
    static void startWaiting(int count) throws InterruptedException {
        Thread[] threads = new Thread[count];
        for (int i = 0; i < count; i++) {
            threads[i] = new Thread(Bench::parkForEver);
            threads[i].setDaemon(true);
            threads[i].start();
        }
        for (Thread each : threads) while (each.getState() != Thread.State.WAITING) Thread.sleep(1);
    }

    static void prepare(String who, String library) throws Exception {
        if (who.equals("floor")) {
            System.load(library);
            Floor.setBreakpoint(Stops.class, "reach");
            return;
        }
        Bench.attach(who, library);
        if (who.equals("inside")) Agent.setBreakpoint(Stops.class, "reach");
    }

    public static void main(String[] arguments) throws Exception {
        String who = arguments[0];
        prepare(who, arguments[1]);
        int waiting = 0;
        for (int i = 2; i < arguments.length; i++) {
            String[] words = arguments[i].split(":");
            int threads = Integer.parseInt(words[0]), times = Integer.parseInt(words[1]);
            startWaiting(threads - waiting);
            waiting = threads;
            if (who.equals("floor")) Floor.listThreads();
            turns(times / 5 + 1);
            Bench.figure("stop." + threads, Bench.median(turns(times)));
        }
    }
}
