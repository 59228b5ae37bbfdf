// Reports as the sender writes them.

export interface ReportParts {
  commands?: string;
  machine?: string;
  installation?: string;
  email?: string;
}

/** A report's text; all of its parts can be replaced. */
export function reportText(parts: ReportParts = {}): string {
  return `<PeltoRpt>
    <cmd_stat>
        <cmds>
            ${parts.commands ?? '<cmd id="2" name="Line" count="26" />\n            <cmd id="1" name="Zoom &lt;Extents&gt;" count="12" />'}
        </cmds>
    </cmd_stat>
    <ftype_stat>
        <ftypes>
            <ftype name=".dwg" ocnt="2" scnt="3" />
        </ftypes>
    </ftype_stat>
    <sys_info>
        ${parts.machine ?? '<prop name="AdapterRAM" cat="Video Card">-1048576</prop>\n        <prop name="Locale" cat="OS">0407</prop>\n        <prop name="MACAddress" cat="Adapter">02:fc:00:00:00:01</prop>'}
        <prop name="ID">${parts.installation ?? "22c7f48c-bad7-430c-a9c2-cc811bf1761d"}</prop>
    </sys_info>
    <app_info>
        <prop name="app_name">Example Designer</prop>
        <prop name="app_ver">1.0.0.0</prop>
    </app_info>
    <cust_info>
        <prop name="Email">${parts.email ?? "user@example.com"}</prop>
    </cust_info>
</PeltoRpt>
`;
}

export interface ReportFile {
  name: string;
  mimeType: string;
  buffer: Buffer;
}

export function reportFile(content: string | Buffer, name = "PeltoReport.xml"): ReportFile {
  return { name, mimeType: "text/xml", buffer: Buffer.from(content) };
}
