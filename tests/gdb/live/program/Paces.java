/** A way through a program that a test knows line by line. */
public class Paces {
    static volatile boolean over;
    static volatile int beaten;

    static int fall(int depth) {
        if (depth == 0) {
            return 0;
        }
        return fall(depth - 1) + 1; // FALL
    }

    static int refuse(int number) {
        if (number < 0) {
            throw new IllegalArgumentException("negative"); // THROW
        }
        return number;
    }

    static synchronized String guarded(int number) {
        try {
            refuse(number); // TRY
            return "fine"; // RETURN
        } catch (IllegalArgumentException expected) {
            return "caught"; // CAUGHT
        } finally {
            beaten++; // FINALLY
        }
    }

    static long wide(int number) {
        return 1L << 40 | number; // WIDE
    }

    static int loop(int rounds) {
        int sum = 0; // SUM
        for (int round = 0; round < rounds; round++) { // FOR
            sum += fall(2); // ADD
            sum -= 1; // TAKE
        }
        return sum; // AFTER
    }

    static void beat() {
        while (!over) {
            beaten++; // BEAT
            Thread.yield();
        }
    }

    static int between(int number) {
        int seen = Descent.through(value -> fall(value), number); // THROUGH
        return seen; // BEHIND
    }

    static int down() {
        Descent.register(); // REGISTER
        return Descent.last(0); // DOWN
    }

    /** ROUNDS of the loop. */
    public static void main(String[] arguments) throws Exception {
        System.loadLibrary("mix");
        Thread beater = new Thread(Paces::beat, "beater");
        beater.start();
        Runnable listed = () -> fall(1); // LISTED
        int deep = fall(3); // FIRST
        String good = guarded(1); // GOOD
        String bad = guarded(-1); // BAD
        long large = wide(deep); // LARGE
        int sum = loop(Integer.parseInt(arguments[0])); // LOOP
        listed.run(); // RUN
        int seen = between(2); // BETWEEN
        int end = down(); // END
        over = true; // OVER
        beater.join();
        System.out.println(deep + good + bad + large + " " + sum + " " + seen + " " + end);
        System.exit(5);
    }
}
