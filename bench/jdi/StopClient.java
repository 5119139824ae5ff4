import com.sun.jdi.Bootstrap;
import com.sun.jdi.ReferenceType;
import com.sun.jdi.VMDisconnectedException;
import com.sun.jdi.VirtualMachine;
import com.sun.jdi.connect.AttachingConnector;
import com.sun.jdi.connect.Connector;
import com.sun.jdi.event.EventSet;
import java.util.Map;

/**
 * The smallest debugger over the JDK's own agent: stops all threads at a method's begin, counts, and goes on.
 *
 * <p>Arguments: the agent's port, the class, the method.
 */
class StopClient {
    static VirtualMachine attach(String port) throws Exception {
        for (AttachingConnector each : Bootstrap.virtualMachineManager().attachingConnectors()) {
            if (!each.name().equals("com.sun.jdi.SocketAttach")) continue;
            Map<String, Connector.Argument> arguments = each.defaultArguments();
            arguments.get("hostname").setValue("127.0.0.1");
            arguments.get("port").setValue(port);
            return each.attach(arguments);
        }
        throw new IllegalStateException("no connector");
    }

    public static void main(String[] arguments) throws Exception {
        VirtualMachine vm = attach(arguments[0]);
        ReferenceType type = vm.classesByName(arguments[1]).get(0);
        vm.eventRequestManager().createBreakpointRequest(type.methodsByName(arguments[2]).get(0).location()).enable();
        System.out.println("set");
        int stops = 0;
        try {
            for (;;) {
                EventSet events = vm.eventQueue().remove();
                stops++;
                events.resume();
            }
        } catch (VMDisconnectedException end) {
            System.out.println("events=" + stops);
        }
    }
}
