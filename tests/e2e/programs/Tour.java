/** A walk through everything that raises an event. */
class Tour {
    static class Expected extends RuntimeException {
    }

    static class Other extends RuntimeException {
    }

    static class Thrower {
        static void fail(boolean expected) {
            throw expected ? new Expected() : new Other();
        }
    }

    int state = 41;

    int work(int by) {
        int sum = state + by;
        state = sum;
        return sum;
    }

    static String attempt(boolean expected) {
        try {
            Thrower.fail(expected);
            return "fine";
        } catch (RuntimeException thrown) {
            return thrown.getClass().getSimpleName();
        }
    }

    static void begin() {
    }

    static void between() {
    }

    public static void main(String[] arguments) throws InterruptedException {
        begin();
        System.out.println(new Tour().work(1));
        System.out.println(attempt(false));
        System.out.println(attempt(true));
        Thread late = new Thread(Tour::between, "late");
        late.start();
        late.join();
        between();
        System.exit(3);
    }
}
