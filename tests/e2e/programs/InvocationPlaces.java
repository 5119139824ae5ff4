/** Places at which a debugger asks for a method: a breakpoint, a method's entry, a thread's end. */
class InvocationPlaces {
    static volatile boolean over;

    static class Loaded {
    }

    static int number() {
        return 42;
    }

    /** Comes back only when somebody says so. */
    static int block() throws InterruptedException {
        System.out.println("blocked");
        while (!over) Thread.sleep(1);
        return 1;
    }

    static int load() throws ClassNotFoundException {
        Class.forName("InvocationPlaces$Loaded");
        return 1;
    }

    static void entered() {
    }

    static void reached() {
    }

    public static void main(String[] arguments) throws InterruptedException {
        reached();
        Thread late = new Thread(InvocationPlaces::entered, "late");
        late.start();
        late.join();
        reached();
        System.out.println("done");
        System.exit(5);
    }
}
